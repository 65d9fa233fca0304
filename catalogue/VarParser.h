#pragma once

#include <QMetaType>
#include <QObject>
#include <QString>
#include <QVector>

// The firmware's catalogue of global variables, read from the extractor's "elf.json".
// The catalogue is class-wide: one per process.
class VarParser : public QObject {
    Q_OBJECT
public:
    // One global variable of the target program; a plain value type.
    struct VarDes {
        QString name;
        QString address; // hexadecimal text; consumers convert it with base 16
        QString scope;
        QString type;
        int size = 0;
        int key = 0;
        int slot = 0;
        bool selected = false;
        bool flag = false;
        // The base type's encoding from the key "encoding" ("signed", "unsigned", "float"); empty
        // when the catalogue has none, and then the type name decides (ValueKind.h).
        QString encoding;
    };

    // One group of the catalogue (a compilation unit): its name and its records, in file order.
    struct VarGroup {
        QString name;
        QVector<VarDes*> vars;
    };

    explicit VarParser(QObject* parent = nullptr);

    // Reads one "elf.json", then keeps or replaces the catalogue and emits one signal.
    void Parse(const QString& path);
    // The same for the text of an elf.json already in memory.
    void ParseText(const QByteArray& bytes);

    static QVector<VarDes*> VarList();
    static QVector<VarGroup*> GroupList();
    // True when the list differs from the current flat list in count, or in name, address or
    // type at any position; scope, size and key do not count.
    static bool IsDifferent(const QVector<VarDes*>& list);

    // The name of the group (compilation unit) that holds the record, in the current catalogue or one it
    // replaced; empty when none does.
    static QString FileOf(const VarDes* des);

    static void SetInstance(VarParser* parser);
    static VarParser* Instance();

    // Forgets the catalogue and the registered instance (for tests).
    static void ResetForTests();

signals:
    void VarListCreate();
    void VarListChanged();
    void VarListWithoutChange();
};

Q_DECLARE_METATYPE(VarParser::VarDes)
