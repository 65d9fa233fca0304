#pragma once

#include "VarParser.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

// Writes a catalogue given as text as a real "elf.json", as the extractor would, and has a fresh parser
// read it. Groups are separated by ";", a group's name ends with "=", variables are separated by "," and
// a variable reads name:address:type[:scope[:size[:encoding]]] (scope "global" and size 4 unless given).
inline bool LoadCatalogue(const QString& text) {
    QJsonArray top;
    int key = 1;
    for (const QString& group : text.split(';', Qt::SkipEmptyParts)) {
        QJsonArray list;
        for (const QString& var : group.section('=', 1).split(',', Qt::SkipEmptyParts)) {
            const QStringList f = var.trimmed().split(':');
            QJsonObject o{{"name", f[0]},
                          {"address", f[1]},
                          {"type", f[2]},
                          {"scope", f.value(3, "global")},
                          {"size", f.value(4, "4").toInt()},
                          {"key", key++}};
            if (!f.value(5).isEmpty())
                o.insert("encoding", f[5]);
            list.append(o);
        }
        top.append(QJsonObject{{"name", group.section('=', 0, 0).trimmed()}, {"dataList", list}});
    }
    QTemporaryDir dir;
    QFile file(dir.filePath("elf.json"));
    if (!dir.isValid() || !file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(top).toJson()) < 0)
        return false;
    file.close();
    VarParser().Parse(file.fileName());
    return !VarParser::VarList().isEmpty();
}
