// The extractor run for real: small C programs are compiled at test time (host and rv32, DWARF 4
// and 5), readelf_variables lists them, and the list is checked against nm and the known sources.
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const char* const RvCompiler = "riscv64-unknown-elf-gcc";
const int ProcessDeadlineMs = 60000;

struct ProcessResult {
    bool finished = false;
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

ProcessResult Run(const QString& program, const QStringList& args, const QString& workDir = QString()) {
    ProcessResult result;
    QProcess process;
    if (!workDir.isEmpty()) {
        process.setWorkingDirectory(workDir);
    }
    process.start(program, args);
    if (!process.waitForFinished(ProcessDeadlineMs)) {
        process.kill();
        process.waitForFinished(ProcessDeadlineMs);
        return result;
    }
    result.finished = process.exitStatus() == QProcess::NormalExit;
    result.exitCode = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

struct NmSymbol {
    QString name;
    quint64 address = 0;
    quint64 size = 0;
};

// One compiled program with what the extractor and nm say about it.
struct Build {
    bool available = false;
    bool rv32 = false;
    QString elf;
    QJsonArray groups;
    QVector<QJsonObject> vars; // all groups in file order
    QVector<NmSymbol> symbols; // data objects with a size
};

struct Variant {
    const char* id;
    bool rv32;
    QStringList flags;
};

const QVector<Variant>& Variants() {
    static const QVector<Variant> variants = {
        {"host-dwarf4", false, {"-g", "-gdwarf-4", "-O0"}},
        {"host-dwarf5", false, {"-g", "-gdwarf-5", "-O0"}},
        {"host-O2-gc", false, {"-g", "-O2", "-ffunction-sections", "-fdata-sections", "-Wl,--gc-sections"}},
        {"rv32-dwarf4", true, {"-g", "-gdwarf-4", "-O0"}},
        {"rv32-dwarf5", true, {"-g", "-gdwarf-5", "-O0"}},
    };
    return variants;
}

QStringList RvFlags() {
    return {"-ffreestanding", "-march=rv32imafc", "-mabi=ilp32f", "-nostdlib", "-Wl,-e,main"};
}

QString Fixture(const char* name) {
    return QStringLiteral(FIXTURE_DIR "/") + QString::fromLatin1(name);
}

// "calls.0" is how gcc names the symbol of a function-level static "calls".
bool SymbolMatches(const QString& symbol, const QString& variable) {
    if (symbol == variable) {
        return true;
    }
    static const QRegularExpression numbered(QStringLiteral("^(.+)\\.\\d+$"));
    const QRegularExpressionMatch m = numbered.match(symbol);
    return m.hasMatch() && m.captured(1) == variable;
}

// The variable a listed leaf belongs to: "g_sensor.pos[1].x" -> "g_sensor", "f::calls" -> "calls".
QString BaseVariable(const QString& leaf) {
    const int scope = leaf.lastIndexOf(QStringLiteral("::"));
    const QString name = scope < 0 ? leaf : leaf.mid(scope + 2);
    const int cut = name.indexOf(QRegularExpression(QStringLiteral("[.\\[]")));
    return cut < 0 ? name : name.left(cut);
}

bool IsFixtureSymbol(const QString& name) {
    static const QRegularExpression own(QStringLiteral("^(g_|s_|other_)|^(calls|ticks)\\.\\d+$"));
    return own.match(name).hasMatch();
}

} // namespace

class TestExtractor : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();

    void scalarTypesAndAddresses_data();
    void scalarTypesAndAddresses();
    void membersAndElementsAtTheirOffsets_data();
    void membersAndElementsAtTheirOffsets();
    void aggregatesExpandToEveryLeaf_data();
    void aggregatesExpandToEveryLeaf();
    void everyEntryLiesInsideItsSymbol_data();
    void everyEntryLiesInsideItsSymbol();
    void everyVariableOfTheSourcesIsListed_data();
    void everyVariableOfTheSourcesIsListed();
    void keysAddressesAndFields_data();
    void keysAddressesAndFields();
    void bitFieldsLeftOut_data();
    void bitFieldsLeftOut();
    void oneGroupPerSourceFile_data();
    void oneGroupPerSourceFile();

    void linkerDroppedVariablesLeftOut();
    void arrayLimitOption_data();
    void arrayLimitOption();
    void helpTellsWhatIsLeftOut();
    void successReplacesStaleList();
    void programWithoutVariablesGivesEmptyList();
    void badInputLeavesNoList_data();
    void badInputLeavesNoList();

private:
    bool Compile(const Variant& variant, const QStringList& sources, const QString& output);
    QString FreshDir();
    void AddVariantRows(bool includeOptimised);
    const Build& BuildOf(const QString& id);
    static const QJsonObject* Find(const Build& build, const QString& name);

    QTemporaryDir m_dir;
    QMap<QString, Build> m_builds;
    int m_dirCount = 0;
};

bool TestExtractor::Compile(const Variant& variant, const QStringList& sources, const QString& output) {
    QStringList args = variant.flags;
    if (variant.rv32) {
        args += RvFlags();
    }
    args += sources;
    args << QStringLiteral("-o") << output;
    const ProcessResult r = Run(QString::fromLatin1(variant.rv32 ? RvCompiler : "gcc"), args);
    if (!r.finished || r.exitCode != 0) {
        qWarning("compile of %s failed: %s", variant.id, r.err.constData());
        return false;
    }
    return true;
}

QString TestExtractor::FreshDir() {
    const QString path = m_dir.filePath(QStringLiteral("run%1").arg(++m_dirCount));
    QDir().mkpath(path);
    return path;
}

void TestExtractor::initTestCase() {
    QVERIFY(m_dir.isValid());
    QVERIFY2(QFileInfo(QStringLiteral(EXTRACTOR_PATH)).isExecutable(), EXTRACTOR_PATH);
    const bool haveRv = !QStandardPaths::findExecutable(QString::fromLatin1(RvCompiler)).isEmpty();
    for (const Variant& variant : Variants()) {
        Build build;
        build.rv32 = variant.rv32;
        if (variant.rv32 && !haveRv) {
            m_builds.insert(QString::fromLatin1(variant.id), build);
            continue;
        }
        const QString dir = FreshDir();
        build.elf = dir + QStringLiteral("/fw.elf");
        QVERIFY(Compile(variant, {Fixture("sample.c"), Fixture("other.c")}, build.elf));

        const ProcessResult r = Run(QStringLiteral(EXTRACTOR_PATH), {build.elf}, dir);
        QVERIFY2(r.finished && r.exitCode == 0, r.err.constData());
        QFile json(dir + QStringLiteral("/elf.json"));
        QVERIFY(json.open(QIODevice::ReadOnly));
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(json.readAll(), &error);
        QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(error.errorString()));
        QVERIFY(doc.isArray());
        build.groups = doc.array();
        for (const QJsonValue& group : build.groups) {
            for (const QJsonValue& var : group.toObject().value(QStringLiteral("dataList")).toArray()) {
                build.vars.append(var.toObject());
            }
        }

        const ProcessResult nm = Run(QString::fromLatin1(variant.rv32 ? "riscv64-unknown-elf-nm" : "nm"),
                                     {QStringLiteral("-S"), QStringLiteral("--defined-only"), build.elf});
        QVERIFY2(nm.finished && nm.exitCode == 0, nm.err.constData());
        for (const QByteArray& line : nm.out.split('\n')) {
            const QList<QByteArray> f = line.simplified().split(' ');
            if (f.size() != 4 || !QByteArray("bBdDrRgGsSvV").contains(f[2])) {
                continue;
            }
            NmSymbol sym;
            sym.address = f[0].toULongLong(nullptr, 16);
            sym.size = f[1].toULongLong(nullptr, 16);
            sym.name = QString::fromLatin1(f[3]);
            if (sym.size > 0) {
                build.symbols.append(sym);
            }
        }
        build.available = true;
        m_builds.insert(QString::fromLatin1(variant.id), build);
    }
}

void TestExtractor::AddVariantRows(bool includeOptimised) {
    QTest::addColumn<QString>("variant");
    for (const Variant& v : Variants()) {
        if (includeOptimised || QByteArray(v.id).contains("dwarf")) {
            QTest::newRow(v.id) << QString::fromLatin1(v.id);
        }
    }
}

const Build& TestExtractor::BuildOf(const QString& id) {
    return m_builds[id];
}

const QJsonObject* TestExtractor::Find(const Build& build, const QString& name) {
    for (const QJsonObject& var : build.vars) {
        if (var.value(QStringLiteral("name")).toString() == name) {
            return &var;
        }
    }
    return nullptr;
}

#define REQUIRE_BUILD(b)                                                                                     \
    if (!(b).available)                                                                                      \
    QSKIP("riscv64-unknown-elf-gcc is not installed")

void TestExtractor::scalarTypesAndAddresses_data() {
    QTest::addColumn<QString>("variant");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("type");
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("scope");
    struct Row {
        const char* name;
        const char* hostType;
        int hostSize;
        const char* rvType;
        int rvSize;
        const char* scope;
    };
    // On rv32 `long` and `int32_t` are 4 bytes; the name follows the size, not the C spelling.
    const Row rows[] = {
        {"g_counter", "unsigned int", 4, "unsigned int", 4, "global"},
        {"g_schar", "signed char", 1, "signed char", 1, "global"},
        {"g_uchar", "unsigned char", 1, "unsigned char", 1, "global"},
        {"g_short", "short", 2, "short", 2, "global"},
        {"g_ushort", "unsigned short", 2, "unsigned short", 2, "global"},
        {"g_int", "int", 4, "int", 4, "global"},
        {"g_uint", "unsigned int", 4, "unsigned int", 4, "global"},
        {"g_long", "long long", 8, "int", 4, "global"},
        {"g_ulong", "unsigned long long", 8, "unsigned int", 4, "global"},
        {"g_llong", "long long", 8, "long long", 8, "global"},
        {"g_ullong", "unsigned long long", 8, "unsigned long long", 8, "global"},
        {"g_i32", "int", 4, "int", 4, "global"},
        {"g_u16", "unsigned short", 2, "unsigned short", 2, "global"},
        {"g_float", "float", 4, "float", 4, "global"},
        {"g_double", "double", 8, "double", 8, "global"},
        {"g_ldouble", "long double", 16, "long double", 16, "global"},
        {"g_flag", "_Bool", 1, "_Bool", 1, "global"},
        {"g_ptr", "pointer", 8, "pointer", 4, "global"},
        {"g_handler", "pointer", 8, "pointer", 4, "global"},
        {"g_color", "enum color", 4, "enum color", 4, "global"},
        {"g_mode", "enum tw_mode_t", 4, "enum tw_mode_t", 4, "global"},
        {"sample_step::calls", "int", 4, "int", 4, "static"},
        {"other_tick::ticks", "unsigned short", 2, "unsigned short", 2, "static"},
    };
    for (const Variant& v : Variants()) {
        if (!QByteArray(v.id).contains("dwarf")) {
            continue;
        }
        for (const Row& row : rows) {
            QTest::addRow("%s %s", v.id, row.name)
                << QString::fromLatin1(v.id) << QString::fromLatin1(row.name)
                << QString::fromLatin1(v.rv32 ? row.rvType : row.hostType)
                << (v.rv32 ? row.rvSize : row.hostSize) << QString::fromLatin1(row.scope);
        }
    }
}

void TestExtractor::scalarTypesAndAddresses() {
    QFETCH(QString, variant);
    QFETCH(QString, name);
    QFETCH(QString, type);
    QFETCH(int, size);
    QFETCH(QString, scope);
    const Build& build = BuildOf(variant);
    REQUIRE_BUILD(build);
    const QJsonObject* var = Find(build, name);
    QVERIFY2(var != nullptr, qPrintable(name));
    QCOMPARE(var->value(QStringLiteral("type")).toString(), type);
    QCOMPARE(var->value(QStringLiteral("size")).toInt(), size);
    QCOMPARE(var->value(QStringLiteral("scope")).toString(), scope);

    bool ok = false;
    const quint64 address = var->value(QStringLiteral("address")).toString().toULongLong(&ok, 16);
    QVERIFY(ok);
    const QString base = BaseVariable(name);
    bool matched = false;
    for (const NmSymbol& sym : build.symbols) {
        if (SymbolMatches(sym.name, base) && sym.address == address) {
            QCOMPARE(sym.size, quint64(size));
            matched = true;
        }
    }
    QVERIFY2(matched, qPrintable(QStringLiteral("nm has no %1 at %2").arg(base).arg(address, 0, 16)));
}

void TestExtractor::membersAndElementsAtTheirOffsets_data() {
    QTest::addColumn<QString>("variant");
    QTest::addColumn<QString>("leaf");
    QTest::addColumn<int>("offset");
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("type");
    struct Row {
        const char* leaf;
        int offset;
        int size;
        const char* type;
    };
    // The same layout on both targets: double is 8-aligned on x86-64 and rv32 alike.
    const Row rows[] = {
        {"g_sensor.id", 0, 1, "unsigned char"},
        {"g_sensor.gain", 4, 4, "float"},
        {"g_sensor.pos[0].x", 8, 2, "short"},
        {"g_sensor.pos[1].y", 14, 2, "short"},
        {"g_sensor.last", 24, 8, "double"},
        {"g_sensor.raw.word", 32, 4, "unsigned int"},
        {"g_sensor.raw.bytes[3]", 35, 1, "unsigned char"},
        {"g_sensor.lo", 36, 2, "unsigned short"},
        {"g_sensor.hi", 38, 2, "unsigned short"},
        {"g_points[2].y", 10, 2, "short"},
        {"g_matrix[1][2]", 20, 4, "int"},
        {"g_table[2]", 4, 2, "short"},
        {"g_name[7]", 7, 1, "char"},
        {"g_big[63]", 252, 4, "int"},
        {"other_buffer[15]", 15, 1, "unsigned char"},
    };
    for (const Variant& v : Variants()) {
        if (!QByteArray(v.id).contains("dwarf")) {
            continue;
        }
        for (const Row& row : rows) {
            QTest::addRow("%s %s", v.id, row.leaf)
                << QString::fromLatin1(v.id) << QString::fromLatin1(row.leaf) << row.offset << row.size
                << QString::fromLatin1(row.type);
        }
    }
}

void TestExtractor::membersAndElementsAtTheirOffsets() {
    QFETCH(QString, variant);
    QFETCH(QString, leaf);
    QFETCH(int, offset);
    QFETCH(int, size);
    QFETCH(QString, type);
    const Build& build = BuildOf(variant);
    REQUIRE_BUILD(build);
    const QJsonObject* var = Find(build, leaf);
    QVERIFY2(var != nullptr, qPrintable(leaf));
    const QString base = BaseVariable(leaf);
    const NmSymbol* sym = nullptr;
    for (const NmSymbol& s : build.symbols) {
        if (s.name == base) {
            sym = &s;
        }
    }
    QVERIFY2(sym != nullptr, qPrintable(base));
    QCOMPARE(var->value(QStringLiteral("address")).toString().toULongLong(nullptr, 16),
             sym->address + offset);
    QCOMPARE(var->value(QStringLiteral("size")).toInt(), size);
    QCOMPARE(var->value(QStringLiteral("type")).toString(), type);
    QCOMPARE(var->value(QStringLiteral("scope")).toString(), QStringLiteral("global"));
}

void TestExtractor::aggregatesExpandToEveryLeaf_data() {
    QTest::addColumn<QString>("variant");
    QTest::addColumn<QString>("variable");
    QTest::addColumn<int>("leaves");
    const struct {
        const char* variable;
        int leaves;
    } rows[] = {
        // id, gain, pos[2].{x,y}, last, raw.word, raw.bytes[4], lo, hi; the two bit-fields are gone.
        {"g_sensor", 14},     {"g_points", 6}, {"g_matrix", 6},
        {"g_table", 3},       {"g_name", 8},   {"g_big", 64}, // cut at the default limit
        {"other_buffer", 16},
    };
    for (const Variant& v : Variants()) {
        if (QByteArray(v.id).contains("dwarf")) {
            for (const auto& row : rows) {
                QTest::addRow("%s %s", v.id, row.variable)
                    << QString::fromLatin1(v.id) << QString::fromLatin1(row.variable) << row.leaves;
            }
        }
    }
}

void TestExtractor::aggregatesExpandToEveryLeaf() {
    QFETCH(QString, variant);
    QFETCH(QString, variable);
    QFETCH(int, leaves);
    const Build& build = BuildOf(variant);
    REQUIRE_BUILD(build);
    int count = 0;
    for (const QJsonObject& var : build.vars) {
        const QString name = var.value(QStringLiteral("name")).toString();
        count += BaseVariable(name) == variable && !name.contains(QStringLiteral("::")) ? 1 : 0;
    }
    QCOMPARE(count, leaves);
}

void TestExtractor::everyEntryLiesInsideItsSymbol_data() {
    AddVariantRows(true);
}

void TestExtractor::everyEntryLiesInsideItsSymbol() {
    QFETCH(QString, variant);
    const Build& build = BuildOf(variant);
    REQUIRE_BUILD(build);
    QVERIFY(!build.vars.isEmpty());
    for (const QJsonObject& var : build.vars) {
        const QString name = var.value(QStringLiteral("name")).toString();
        const quint64 address = var.value(QStringLiteral("address")).toString().toULongLong(nullptr, 16);
        const quint64 size = quint64(var.value(QStringLiteral("size")).toInt());
        bool inside = false;
        for (const NmSymbol& sym : build.symbols) {
            inside = inside || (SymbolMatches(sym.name, BaseVariable(name)) && address >= sym.address &&
                                address + size <= sym.address + sym.size);
        }
        QVERIFY2(inside, qPrintable(QStringLiteral("%1 at %2 (%3 bytes) is outside every symbol of that name")
                                        .arg(name)
                                        .arg(address, 0, 16)
                                        .arg(size)));
    }
}

void TestExtractor::everyVariableOfTheSourcesIsListed_data() {
    AddVariantRows(true);
}

void TestExtractor::everyVariableOfTheSourcesIsListed() {
    QFETCH(QString, variant);
    const Build& build = BuildOf(variant);
    REQUIRE_BUILD(build);
    int checked = 0;
    for (const NmSymbol& sym : build.symbols) {
        if (!IsFixtureSymbol(sym.name)) {
            continue;
        }
        ++checked;
        bool listed = false;
        for (const QJsonObject& var : build.vars) {
            const quint64 address = var.value(QStringLiteral("address")).toString().toULongLong(nullptr, 16);
            listed = listed ||
                     (SymbolMatches(sym.name, BaseVariable(var.value(QStringLiteral("name")).toString())) &&
                      address >= sym.address && address < sym.address + sym.size);
        }
        QVERIFY2(listed, qPrintable(sym.name));
    }
    QVERIFY(checked >= 4);
}

void TestExtractor::keysAddressesAndFields_data() {
    AddVariantRows(true);
}

void TestExtractor::keysAddressesAndFields() {
    QFETCH(QString, variant);
    const Build& build = BuildOf(variant);
    REQUIRE_BUILD(build);
    const QRegularExpression hex(QStringLiteral("^[0-9a-f]+$"));
    int expectedKey = 1;
    for (const QJsonObject& var : build.vars) {
        for (const char* text : {"name", "address", "scope", "type"}) {
            QVERIFY2(var.value(QLatin1String(text)).isString(), text);
        }
        QVERIFY(var.value(QStringLiteral("size")).isDouble());
        QVERIFY(var.value(QStringLiteral("key")).isDouble());
        QVERIFY(hex.match(var.value(QStringLiteral("address")).toString()).hasMatch());
        QCOMPARE(var.value(QStringLiteral("key")).toInt(), expectedKey++);
        QVERIFY(var.value(QStringLiteral("size")).toInt() > 0);
        const QString scope = var.value(QStringLiteral("scope")).toString();
        QVERIFY2(scope == QStringLiteral("global") || scope == QStringLiteral("static"), qPrintable(scope));
    }
}

void TestExtractor::bitFieldsLeftOut_data() {
    AddVariantRows(true);
}

void TestExtractor::bitFieldsLeftOut() {
    QFETCH(QString, variant);
    const Build& build = BuildOf(variant);
    REQUIRE_BUILD(build);
    for (const QJsonObject& var : build.vars) {
        const QString name = var.value(QStringLiteral("name")).toString();
        QVERIFY2(!name.endsWith(QStringLiteral(".flags")) && !name.endsWith(QStringLiteral(".ready")),
                 qPrintable(name));
    }
}

void TestExtractor::oneGroupPerSourceFile_data() {
    AddVariantRows(false);
}

void TestExtractor::oneGroupPerSourceFile() {
    QFETCH(QString, variant);
    const Build& build = BuildOf(variant);
    REQUIRE_BUILD(build);
    QStringList names;
    QMap<QString, QStringList> members;
    QMap<QString, QString> privateAddress;
    for (const QJsonValue& value : build.groups) {
        const QJsonObject group = value.toObject();
        const QString name = group.value(QStringLiteral("name")).toString();
        names << name;
        for (const QJsonValue& var : group.value(QStringLiteral("dataList")).toArray()) {
            const QJsonObject v = var.toObject();
            members[name] << v.value(QStringLiteral("name")).toString();
            if (v.value(QStringLiteral("name")).toString() == QStringLiteral("s_private")) {
                QCOMPARE(v.value(QStringLiteral("scope")).toString(), QStringLiteral("static"));
                privateAddress[name] = v.value(QStringLiteral("address")).toString();
            }
        }
    }
    QCOMPARE(names, QStringList({QStringLiteral("sample.c"), QStringLiteral("other.c")}));
    QVERIFY(members[QStringLiteral("sample.c")].contains(QStringLiteral("sample_step::calls")));
    QVERIFY(members[QStringLiteral("sample.c")].contains(QStringLiteral("g_sensor.gain")));
    QVERIFY(members[QStringLiteral("other.c")].contains(QStringLiteral("other_tick::ticks")));
    QVERIFY(members[QStringLiteral("other.c")].contains(QStringLiteral("other_buffer[0]")));
    QCOMPARE(members[QStringLiteral("sample.c")].count(QStringLiteral("s_private")), 1);
    QCOMPARE(members[QStringLiteral("other.c")].count(QStringLiteral("s_private")), 1);
    // Two statics of one name are two variables.
    QVERIFY(privateAddress[QStringLiteral("sample.c")] != privateAddress[QStringLiteral("other.c")]);
}

void TestExtractor::linkerDroppedVariablesLeftOut() {
    const Build& build = BuildOf(QStringLiteral("host-O2-gc"));
    QVERIFY(build.available);
    for (const NmSymbol& sym : build.symbols) {
        QVERIFY2(sym.name != QStringLiteral("g_big"),
                 "g_big is unused and should have been dropped by the linker");
    }
    for (const QJsonObject& var : build.vars) {
        const QString name = var.value(QStringLiteral("name")).toString();
        QVERIFY2(!name.startsWith(QStringLiteral("g_big")), qPrintable(name));
        QVERIFY2(var.value(QStringLiteral("address")).toString() != QStringLiteral("0"), qPrintable(name));
    }
    QVERIFY(Find(build, QStringLiteral("sample_step::calls")) != nullptr);
}

void TestExtractor::arrayLimitOption_data() {
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QStringList>("present");
    QTest::addColumn<QStringList>("absent");
    QTest::newRow("default 64") << QStringList() << QStringList{"g_big[63]", "g_matrix[1][2]"}
                                << QStringList{"g_big[64]"};
    QTest::newRow("limit 10") << QStringList{"--array-limit", "10"} << QStringList{"g_big[9]", "g_name[7]"}
                              << QStringList{"g_big[10]"};
    QTest::newRow("short option, per dimension")
        << QStringList{"-a", "2"}
        << QStringList{"g_matrix[1][1]", "g_sensor.pos[1].y", "g_sensor.raw.bytes[1]"}
        << QStringList{"g_matrix[1][2]", "g_table[2]", "g_sensor.raw.bytes[2]", "g_points[2].x"};
    QTest::newRow("0 lists all") << QStringList{"--array-limit=0"} << QStringList{"g_big[999]"}
                                 << QStringList{"g_big[1000]"};
}

void TestExtractor::arrayLimitOption() {
    QFETCH(QStringList, options);
    QFETCH(QStringList, present);
    QFETCH(QStringList, absent);
    const QString dir = FreshDir();
    const ProcessResult r = Run(QStringLiteral(EXTRACTOR_PATH),
                                options + QStringList{BuildOf(QStringLiteral("host-dwarf5")).elf}, dir);
    QVERIFY2(r.finished && r.exitCode == 0, r.err.constData());
    QFile file(dir + QStringLiteral("/elf.json"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    Build listed;
    for (const QJsonValue& group : QJsonDocument::fromJson(file.readAll()).array()) {
        for (const QJsonValue& var : group.toObject().value(QStringLiteral("dataList")).toArray()) {
            listed.vars.append(var.toObject());
        }
    }
    for (const QString& name : present) {
        QVERIFY2(Find(listed, name) != nullptr, qPrintable(name));
    }
    for (const QString& name : absent) {
        QVERIFY2(Find(listed, name) == nullptr, qPrintable(name));
    }
}

void TestExtractor::helpTellsWhatIsLeftOut() {
    const ProcessResult r = Run(QStringLiteral(EXTRACTOR_PATH), {QStringLiteral("--help")}, FreshDir());
    QVERIFY(r.finished);
    QCOMPARE(r.exitCode, 0);
    for (const char* text : {"--array-limit <count>", "Default: 64", "bit-fields", "without a fixed address",
                             "beyond the array limit", "elf.json"}) {
        QVERIFY2(r.out.contains(text), text);
    }
}

void TestExtractor::successReplacesStaleList() {
    const QString dir = FreshDir();
    QFile stale(dir + QStringLiteral("/elf.json"));
    QVERIFY(stale.open(QIODevice::WriteOnly));
    stale.write(R"([{"name":"stale.c","dataList":[{"name":"old_var","address":"1234"}]}])");
    stale.close();
    const ProcessResult r =
        Run(QStringLiteral(EXTRACTOR_PATH), {BuildOf(QStringLiteral("host-dwarf4")).elf}, dir);
    QVERIFY2(r.finished && r.exitCode == 0, r.err.constData());
    QVERIFY(stale.open(QIODevice::ReadOnly));
    const QByteArray text = stale.readAll();
    QVERIFY(!text.contains("old_var"));
    QVERIFY(text.contains("g_sensor.gain"));
    // Nothing but the list is left in the folder (the temporary file was renamed into place).
    QCOMPARE(QDir(dir).entryList(QDir::Files), QStringList{QStringLiteral("elf.json")});
}

void TestExtractor::programWithoutVariablesGivesEmptyList() {
    const QString dir = FreshDir();
    const QString elf = dir + QStringLiteral("/novars.elf");
    QVERIFY(Compile(Variants().at(1), {Fixture("novars.c")}, elf));
    const ProcessResult r = Run(QStringLiteral(EXTRACTOR_PATH), {elf}, dir);
    QVERIFY2(r.finished && r.exitCode == 0, r.err.constData());
    QFile file(dir + QStringLiteral("/elf.json"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll());
    QVERIFY(doc.isArray());
    QCOMPARE(doc.array().size(), 0);
}

void TestExtractor::badInputLeavesNoList_data() {
    QTest::addColumn<QString>("input");
    QTest::addColumn<QStringList>("extraArgs");
    QTest::addColumn<QString>("message");
    QTest::newRow("missing file") << "missing" << QStringList() << "cannot open";
    QTest::newRow("text file") << "text" << QStringList() << "is not an ELF file";
    QTest::newRow("empty file") << "empty" << QStringList() << "is not an ELF file";
    QTest::newRow("folder") << "folder" << QStringList() << "is not an ELF file";
    QTest::newRow("ELF without -g") << "nodebug" << QStringList() << "has no debug information";
    QTest::newRow("object file, not linked") << "object" << QStringList() << "is not a linked program";
    QTest::newRow("bad DWARF version")
        << "badversion" << QStringList() << "cannot read the debug information";
    QTest::newRow("garbled DWARF") << "garbled" << QStringList() << "cannot read the debug information";
    QTest::newRow("no argument") << "none" << QStringList() << "expected exactly one ELF file";
    QTest::newRow("two arguments") << "nodebug" << QStringList{"second.elf"}
                                   << "expected exactly one ELF file";
    QTest::newRow("bad limit") << "good" << QStringList{"--array-limit", "-3"}
                               << "--array-limit needs a count";
    QTest::newRow("unknown option") << "good" << QStringList{"--bogus"} << "Unknown option 'bogus'";
}

void TestExtractor::badInputLeavesNoList() {
    QFETCH(QString, input);
    QFETCH(QStringList, extraArgs);
    QFETCH(QString, message);
    const QString dir = FreshDir();
    const QString elf = dir + QStringLiteral("/input.elf");
    const Variant& host = Variants().at(1);

    if (input == QStringLiteral("text")) {
        QFile f(elf);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("int main(void) { return 0; }\n");
    } else if (input == QStringLiteral("empty")) {
        QFile f(elf);
        QVERIFY(f.open(QIODevice::WriteOnly));
    } else if (input == QStringLiteral("folder")) {
        QVERIFY(QDir().mkpath(elf));
    } else if (input == QStringLiteral("nodebug")) {
        Variant plain = host;
        plain.flags = QStringList{QStringLiteral("-O0")};
        QVERIFY(Compile(plain, {Fixture("sample.c"), Fixture("other.c")}, elf));
    } else if (input == QStringLiteral("object")) {
        Variant object = host;
        object.flags << QStringLiteral("-c");
        QVERIFY(Compile(object, {Fixture("other.c")}, elf));
    } else if (input == QStringLiteral("good")) {
        QVERIFY(QFile::copy(BuildOf(QStringLiteral("host-dwarf5")).elf, elf));
    } else if (input == QStringLiteral("badversion") || input == QStringLiteral("garbled")) {
        // Damage the unit headers of a good file's .debug_info and put the section back.
        const QString good = BuildOf(QStringLiteral("host-dwarf5")).elf;
        const QString section = dir + QStringLiteral("/info.bin");
        ProcessResult r = Run(QStringLiteral("objcopy"), {QStringLiteral("--dump-section"),
                                                          QStringLiteral(".debug_info=") + section, good});
        QVERIFY2(r.finished && r.exitCode == 0, r.err.constData());
        QFile f(section);
        QVERIFY(f.open(QIODevice::ReadWrite));
        QByteArray bytes = f.readAll();
        QVERIFY(bytes.size() > 64);
        if (input == QStringLiteral("badversion")) {
            bytes[4] = char(99);
        } else {
            for (int i = 12; i < bytes.size(); ++i) {
                bytes[i] = char(0xee);
            }
        }
        f.seek(0);
        f.write(bytes);
        f.close();
        r = Run(QStringLiteral("objcopy"),
                {QStringLiteral("--update-section"), QStringLiteral(".debug_info=") + section, good, elf});
        QVERIFY2(r.finished && r.exitCode == 0, r.err.constData());
    }

    // A list from an earlier run must not survive a failed one.
    QFile stale(dir + QStringLiteral("/elf.json"));
    QVERIFY(stale.open(QIODevice::WriteOnly));
    stale.write(R"([{"name":"stale.c","dataList":[]}])");
    stale.close();

    QStringList args = extraArgs;
    if (input != QStringLiteral("none")) {
        args.prepend(elf);
    }
    const ProcessResult r = Run(QStringLiteral(EXTRACTOR_PATH), args, dir);
    QVERIFY(r.finished);
    QVERIFY(r.exitCode != 0);
    QVERIFY2(QString::fromLocal8Bit(r.err).contains(message), r.err.constData());
    QVERIFY(!QFileInfo::exists(dir + QStringLiteral("/elf.json")));
}

QTEST_GUILESS_MAIN(TestExtractor)
#include "tst_extractor.moc"
