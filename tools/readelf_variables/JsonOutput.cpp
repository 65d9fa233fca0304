#include "JsonOutput.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QSaveFile>

QJsonDocument ElfVariablesJson(const QVector<ElfVariableGroup>& groups) {
    QJsonArray top;
    int key = 1;
    for (const ElfVariableGroup& group : groups) {
        QJsonArray dataList;
        for (const ElfVariable& var : group.vars) {
            QJsonObject item;
            item.insert(QStringLiteral("name"), var.name);
            item.insert(QStringLiteral("address"), QString::number(var.address, 16));
            item.insert(QStringLiteral("scope"), var.scope);
            item.insert(QStringLiteral("size"), double(var.size));
            item.insert(QStringLiteral("type"), var.type);
            item.insert(QStringLiteral("key"), key++);
            dataList.append(item);
        }
        QJsonObject entry;
        entry.insert(QStringLiteral("name"), group.name);
        entry.insert(QStringLiteral("dataList"), dataList);
        top.append(entry);
    }
    return QJsonDocument(top);
}

int RemoveStaleOutput(const QString& path, QString* error) {
    QFile file(path);
    if (!QFileInfo::exists(path) && !QFileInfo(path).isSymLink()) {
        return 0;
    }
    if (!file.remove()) {
        *error = QStringLiteral("cannot remove the old '%1': %2").arg(path, file.errorString());
        return -1;
    }
    return 0;
}

int WriteElfJson(const QString& path, const QVector<ElfVariableGroup>& groups, QString* error) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = QStringLiteral("cannot write '%1': %2").arg(path, file.errorString());
        return -1;
    }
    const QByteArray bytes = ElfVariablesJson(groups).toJson(QJsonDocument::Indented);
    if (file.write(bytes) != bytes.size() || !file.commit()) {
        *error = QStringLiteral("cannot write '%1': %2").arg(path, file.errorString());
        QString ignored;
        RemoveStaleOutput(path, &ignored);
        return -1;
    }
    return 0;
}
