#pragma once

#include <QStringList>
#include <QTest>

// A table row written as one text whose fields are separated by " | ", so that a row stays one line.
namespace Row {

inline void Column() {
    QTest::addColumn<QString>("row");
}

inline QStringList Fields() {
    return static_cast<QString*>(QTest::qData("row", qMetaTypeId<QString>()))->split(" | ");
}

} // namespace Row
