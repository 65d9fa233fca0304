// The list writer: what it writes must read back through Qt's JSON parser as exactly what went in.
#include "JsonOutput.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

namespace {

ElfVariable Variable(const QByteArray& name, quint64 address, QVector<ElfLeaf> leaves) {
    ElfVariable var;
    var.name = name;
    var.address = address;
    var.scope = QByteArrayLiteral("global");
    var.leaves = std::move(leaves);
    return var;
}

QJsonArray Parse(const QByteArray& bytes) {
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !doc.isArray()) {
        qWarning("not a JSON array: %s\n%s", qPrintable(error.errorString()), bytes.constData());
        return QJsonArray();
    }
    return doc.array();
}

} // namespace

class TestExtractorJson : public QObject {
    Q_OBJECT

private slots:
    void namesReadBackUnchanged_data();
    void namesReadBackUnchanged();
    void leavesBecomeEntriesWithRunningKeys();
    void emptyListsAreValidJson_data();
    void emptyListsAreValidJson();
    void writeReplacesFileWithoutLeftovers();
    void writeIntoMissingFolderFails();
};

void TestExtractorJson::namesReadBackUnchanged_data() {
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("suffix");
    QTest::newRow("plain") << QByteArray("counter") << QByteArray(".x");
    QTest::newRow("quote and backslash") << QByteArray("a\"b\\c") << QByteArray("[1]");
    QTest::newRow("control characters") << QByteArray("tab\tnl\ncr\r\x01\x1f") << QByteArray();
    QTest::newRow("escape in suffix only") << QByteArray("s") << QByteArray(".q\"");
    QTest::newRow("UTF-8") << QByteArray("gr\xc3\xb6\xc3\x9f"
                                         "e_\xe6\x97\xa5")
                           << QByteArray(".\xc3\xa9");
    QTest::newRow("empty") << QByteArray() << QByteArray();
}

void TestExtractorJson::namesReadBackUnchanged() {
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, suffix);
    ElfVariableGroup group;
    group.name = name + ".c";
    group.vars.append(Variable(name, 0x20000000, {{suffix, 4, 2, QByteArrayLiteral("short")}}));
    const QJsonArray top = Parse(ElfVariablesJson({group}));
    QCOMPARE(top.size(), 1);
    QCOMPARE(top[0].toObject().value(QStringLiteral("name")).toString(), QString::fromUtf8(name + ".c"));
    const QJsonObject var = top[0].toObject().value(QStringLiteral("dataList")).toArray().at(0).toObject();
    QCOMPARE(var.value(QStringLiteral("name")).toString(), QString::fromUtf8(name + suffix));

    QByteArray literal;
    AppendJsonString(&literal, name, suffix);
    QCOMPARE(Parse("[" + literal + "]").at(0).toString(), QString::fromUtf8(name + suffix));
}

void TestExtractorJson::leavesBecomeEntriesWithRunningKeys() {
    const QVector<ElfLeaf> pointLeaves = {{QByteArrayLiteral(".x"), 0, 2, QByteArrayLiteral("short")},
                                          {QByteArrayLiteral(".y"), 2, 2, QByteArrayLiteral("short")}};
    ElfVariableGroup first;
    first.name = QByteArrayLiteral("main.c");
    first.vars.append(Variable("origin", 0x2000abc0, pointLeaves));
    first.vars.append(Variable("far", Q_UINT64_C(0xffffffff80000000), {{QByteArray(), 0, 8, "long long"}}));
    ElfVariableGroup second;
    second.name = QByteArrayLiteral("io.c");
    ElfVariable local = Variable("tick::count", 0x10, {{QByteArray(), 0, 4, "unsigned int"}});
    local.scope = QByteArrayLiteral("static");
    second.vars.append(local);
    second.vars.append(Variable("cursor", 0x14, pointLeaves));

    const QJsonArray top = Parse(ElfVariablesJson({first, second}));
    QCOMPARE(top.size(), 2);
    struct Expected {
        const char* name;
        const char* address;
        const char* scope;
        int size;
        const char* type;
    };
    const Expected expected[] = {
        {"origin.x", "2000abc0", "global", 2, "short"},
        {"origin.y", "2000abc2", "global", 2, "short"},
        {"far", "ffffffff80000000", "global", 8, "long long"},
        {"tick::count", "10", "static", 4, "unsigned int"},
        {"cursor.x", "14", "global", 2, "short"},
        {"cursor.y", "16", "global", 2, "short"},
    };
    int index = 0;
    for (const QJsonValue& group : top) {
        for (const QJsonValue& value : group.toObject().value(QStringLiteral("dataList")).toArray()) {
            const QJsonObject var = value.toObject();
            const Expected& e = expected[index];
            QCOMPARE(var.value(QStringLiteral("name")).toString(), QString::fromLatin1(e.name));
            QCOMPARE(var.value(QStringLiteral("address")).toString(), QString::fromLatin1(e.address));
            QCOMPARE(var.value(QStringLiteral("scope")).toString(), QString::fromLatin1(e.scope));
            QCOMPARE(var.value(QStringLiteral("size")).toInt(), e.size);
            QCOMPARE(var.value(QStringLiteral("type")).toString(), QString::fromLatin1(e.type));
            QCOMPARE(var.value(QStringLiteral("key")).toInt(), ++index);
        }
    }
    QCOMPARE(index, 6);
    QCOMPARE(CountLeaves({first, second}), 6);
}

void TestExtractorJson::emptyListsAreValidJson_data() {
    QTest::addColumn<int>("groups");
    QTest::newRow("no groups") << 0;
    QTest::newRow("group without variables") << 1;
}

void TestExtractorJson::emptyListsAreValidJson() {
    QFETCH(int, groups);
    QVector<ElfVariableGroup> list(groups);
    for (ElfVariableGroup& group : list) {
        group.name = QByteArrayLiteral("empty.c");
    }
    const QJsonArray top = Parse(ElfVariablesJson(list));
    QCOMPARE(top.size(), groups);
    for (const QJsonValue& group : top) {
        QVERIFY(group.toObject().value(QStringLiteral("dataList")).isArray());
        QCOMPARE(group.toObject().value(QStringLiteral("dataList")).toArray().size(), 0);
    }
}

void TestExtractorJson::writeReplacesFileWithoutLeftovers() {
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("elf.json"));
    QFile old(path);
    QVERIFY(old.open(QIODevice::WriteOnly));
    old.write("stale");
    old.close();

    ElfVariableGroup group;
    group.name = QByteArrayLiteral("main.c");
    group.vars.append(Variable("counter", 0x100, {{QByteArray(), 0, 4, "int"}}));
    QString error;
    QCOMPARE(WriteElfJson(path, {group}, &error), 0);
    QVERIFY(old.open(QIODevice::ReadOnly));
    QCOMPARE(Parse(old.readAll()).size(), 1);
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{QStringLiteral("elf.json")});
    QVERIFY(QFileInfo(path).permissions().testFlag(QFileDevice::ReadOther));
}

void TestExtractorJson::writeIntoMissingFolderFails() {
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("missing/elf.json"));
    QString error;
    QCOMPARE(WriteElfJson(path, {}, &error), -1);
    QVERIFY2(error.contains(QStringLiteral("cannot write")), qPrintable(error));
    QVERIFY(!QFileInfo::exists(path));
    QCOMPARE(RemoveStaleOutput(path, &error), 0);
}

QTEST_GUILESS_MAIN(TestExtractorJson)
#include "tst_extractor_json.moc"
