#pragma once

#include "VarParser.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QVector>

// One variable of a test catalogue, as the extractor writes it.
struct TestVar {
    QString name;
    QString address;
    QString type;
    QString scope = "global";
    int size = 4;
    QString encoding = QString(); // written only when given
};

struct TestGroup {
    QString name;
    QVector<TestVar> vars;
};

// Writes the groups as a real "elf.json" and has a fresh parser read it into the catalogue.
inline bool LoadCatalogue(const QVector<TestGroup>& groups) {
    QJsonArray top;
    int key = 1;
    for (const TestGroup& g : groups) {
        QJsonArray list;
        for (const TestVar& v : g.vars) {
            QJsonObject o{{"name", v.name}, {"address", v.address}, {"scope", v.scope},
                          {"size", v.size}, {"type", v.type},       {"key", key++}};
            if (!v.encoding.isEmpty())
                o.insert("encoding", v.encoding);
            list.append(o);
        }
        top.append(QJsonObject{{"name", g.name}, {"dataList", list}});
    }
    QTemporaryDir dir;
    if (!dir.isValid())
        return false;
    const QString path = dir.filePath("elf.json");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(QJsonDocument(top).toJson());
    file.close();
    VarParser parser;
    parser.Parse(path);
    return !VarParser::GroupList().isEmpty() || groups.isEmpty();
}
