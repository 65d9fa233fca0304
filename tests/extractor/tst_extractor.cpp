// The extractor for real: fixtures compiled at test time (host and rv32, DWARF 4 and 5, optimised with
// unused data dropped) are listed and checked against nm; plus its command line, bad input and escaping.
#include "JsonOutput.h"
#include "Row.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

struct Output {
    int exitCode = -1;
    QByteArray out, err;
};

Output Run(const QString& program, const QStringList& args, const QString& workDir = QString()) {
    QProcess process;
    process.setWorkingDirectory(workDir);
    process.start(program, args);
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

// One compiled program with what the extractor and nm say about it.
struct Build {
    QString elf;
    QJsonArray groups;
    // Address and size of the data objects with a size; "calls.0" is filed as "calls".
    QMultiMap<QString, std::pair<quint64, quint64>> symbols;
};

const char* const kVariants[][2] = {
    {"host-dwarf4", "-gdwarf-4 -O0"},
    {"host-dwarf5", "-gdwarf-5 -O0"},
    {"host-O2-gc", "-g -O2 -ffunction-sections -fdata-sections -Wl,--gc-sections"},
    {"rv32-dwarf4", "-gdwarf-4 -O0"},
    {"rv32-dwarf5", "-gdwarf-5 -O0"}};

// Leaves of the fixtures: leaf | type | type on rv32 | encoding (on rv32 when it differs) | size, size on
// rv32, offset from the variable's symbol. On rv32 `long` and `int32_t` are 4 bytes and plain char is
// unsigned; the name follows the size, not the C spelling. The layout is the same on both targets:
// double is 8-aligned on x86-64 and rv32 alike.
const char* const kLeaves[] = {"g_counter | unsigned int | unsigned int | unsigned | 4 4 0",
                               "g_schar | signed char | signed char | signed | 1 1 0",
                               "g_long | long long | int | signed | 8 4 0",
                               "g_ulong | unsigned long long | unsigned int | unsigned | 8 4 0",
                               "g_ldouble | long double | long double | float | 16 16 0",
                               "g_flag | _Bool | _Bool | unsigned | 1 1 0",
                               "g_ptr | pointer | pointer | unsigned | 8 4 0",
                               "g_color | enum color | enum color | unsigned | 4 4 0",
                               "g_mode | enum tw_mode_t | enum tw_mode_t | unsigned | 4 4 0",
                               "sample_step::calls | int | int | signed | 4 4 0",
                               "g_sensor.gain | float | float | float | 4 4 4",
                               "g_sensor.pos[1].y | short | short | signed | 2 2 14",
                               "g_sensor.last | double | double | float | 8 8 24",
                               "g_sensor.raw.bytes[3] | unsigned char | unsigned char | unsigned | 1 1 35",
                               "g_sensor.hi | unsigned short | unsigned short | unsigned | 2 2 38",
                               "g_matrix[1][2] | int | int | signed | 4 4 20",
                               "g_name[7] | char | char | signed unsigned | 1 1 7"};

const QString kFixtures = QStringLiteral(FIXTURE_DIR "/");
const QString kExtractor = QStringLiteral(EXTRACTOR_PATH);

// The variable a listed leaf belongs to: "g_sensor.pos[1].x" -> "g_sensor", "f::calls" -> "calls".
QString BaseVariable(const QString& leaf) {
    const QString name = leaf.mid(leaf.lastIndexOf("::") + 1).remove(QRegularExpression("^:"));
    return name.left(name.indexOf(QRegularExpression("[.\\[]|$")));
}

} // namespace

class TestExtractor : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QMap<QString, Build> m_builds;
    int m_runs = 0;

    QString FreshDir() {
        const QString path = m_dir.filePath(QString("run%1").arg(++m_runs));
        QDir().mkpath(path);
        return path;
    }
    bool Compile(bool rv32, const QString& flags, const QStringList& sources, const QString& output) {
        QStringList args = flags.split(' ') + sources + QStringList{"-o", output};
        if (rv32)
            args += {"-ffreestanding", "-march=rv32imafc", "-mabi=ilp32f", "-nostdlib", "-Wl,-e,main"};
        const Output r = Run(rv32 ? "riscv64-unknown-elf-gcc" : "gcc", args);
        return r.exitCode == 0 || (qWarning("%s", r.err.constData()), false);
    }
    // Writes a stale list, runs the extractor in `dir` and reads the list it left (none: empty).
    QJsonArray Extract(const QStringList& args, const QString& dir, Output* result) {
        QFile stale(dir + "/elf.json");
        stale.open(QIODevice::WriteOnly);
        stale.write(R"([{"name":"stale.c","dataList":[{"name":"old_var","address":"1234"}]}])");
        stale.close();
        *result = Run(kExtractor, args, dir);
        stale.open(QIODevice::ReadOnly);
        return QJsonDocument::fromJson(stale.readAll()).array();
    }

private slots:
    void initTestCase() {
        const bool haveRv = !QStandardPaths::findExecutable("riscv64-unknown-elf-gcc").isEmpty();
        for (const auto& variant : kVariants) {
            const bool rv32 = QByteArray(variant[0]).startsWith("rv32");
            if (rv32 && !haveRv)
                continue;
            Build build;
            const QString dir = FreshDir();
            build.elf = dir + "/fw.elf";
            QVERIFY(Compile(rv32, variant[1], {kFixtures + "sample.c", kFixtures + "other.c"}, build.elf));
            Output r;
            build.groups = Extract({build.elf}, dir, &r);
            QVERIFY2(r.exitCode == 0, r.err.constData());
            // Nothing but the list is left in the folder (the temporary file was renamed into place).
            QCOMPARE(QDir(dir).entryList(QDir::Files), (QStringList{"elf.json", "fw.elf"}));
            const Output nm =
                Run(rv32 ? "riscv64-unknown-elf-nm" : "nm", {"-S", "--defined-only", build.elf});
            for (const QByteArray& line : nm.out.split('\n')) {
                const QList<QByteArray> f = line.simplified().split(' ');
                if (f.size() == 4 && QByteArray("bBdDrRgGsSvV").contains(f[2]) &&
                    f[1].toULongLong(nullptr, 16) > 0)
                    build.symbols.insert(QString(f[3]).remove(QRegularExpression("\\.\\d+$")),
                                         {f[0].toULongLong(nullptr, 16), f[1].toULongLong(nullptr, 16)});
            }
            m_builds.insert(variant[0], build);
        }
    }

    // Every entry lies inside a symbol of its variable's name, keys run from 1, only "global" and
    // "static" scopes, one group per source file, every fixture variable is listed
    // with all its leaves; and the leaves above read as written there (not after the linker dropped data).
    void fixtureList_data() {
        QTest::addColumn<QString>("variant");
        for (const auto& variant : kVariants)
            QTest::newRow(variant[0]) << variant[0];
    }
    void fixtureList() {
        QFETCH(QString, variant);
        if (!m_builds.contains(variant))
            QSKIP("riscv64-unknown-elf-gcc is not installed");
        const Build& build = m_builds[variant];
        const bool rv32 = variant.startsWith("rv32");
        int key = 0;
        QStringList groups, problems;
        QMap<QString, int> leaves;
        QMap<QString, QString> listed; // leaf: type, encoding, size, scope, offset from its symbol
        for (const QJsonValue& group : build.groups) {
            groups << group.toObject().value("name").toString();
            for (const QJsonValue& value : group.toObject().value("dataList").toArray()) {
                const QJsonObject var = value.toObject();
                const QString name = var.value("name").toString();
                const quint64 address = var.value("address").toString().toULongLong(nullptr, 16);
                const int size = var.value("size").toInt();
                qint64 offset = -1;
                for (const auto& [start, length] : build.symbols.values(BaseVariable(name)))
                    if (address >= start && address + size <= start + length &&
                        (name.contains(QRegularExpression("[.[]")) || length == quint64(size)))
                        offset = qint64(address - start);
                if (offset < 0 || var.value("key").toInt() != ++key ||
                    !QStringList{"global", "static"}.contains(var.value("scope").toString()))
                    problems << name;
                leaves[name.contains("::") ? name : BaseVariable(name)]++;
                listed[name] =
                    QStringList{var.value("type").toString(), var.value("encoding").toString(),
                                QString::number(size), var.value("scope").toString(), QString::number(offset)}
                        .join(" | ");
            }
        }
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(' ')));
        QVERIFY(leaves.contains("sample_step::calls"));
        if (variant.contains("gc")) { // unused data the linker dropped is not listed
            QVERIFY(!leaves.contains("g_big") && !build.symbols.contains("g_big"));
            return;
        }
        QCOMPARE(groups, (QStringList{"sample.c", "other.c"}));
        // Every fixture variable, "*n" for n leaves: two statics of one name are two variables; g_sensor is
        // id, gain, pos[2].{x,y}, last, raw.word, raw.bytes[4], lo, hi without its two bit-fields.
        QStringList counts;
        for (auto it = leaves.cbegin(); it != leaves.cend(); ++it)
            counts << it.key() + (it.value() > 1 ? QString("*%1").arg(it.value()) : QString());
        QCOMPARE(
            counts.join(' '),
            QString(
                "g_big*64 g_color g_counter g_double g_flag g_float g_handler g_i32 g_int g_ldouble g_llong "
                "g_long g_matrix*6 g_mode g_name*8 g_points*6 g_ptr g_schar g_sensor*14 g_short g_table*3 "
                "g_u16 g_uchar g_uint g_ullong g_ulong g_ushort other_buffer*16 other_tick::ticks s_limit "
                "s_private*2 sample_step::calls"));
        for (const char* row : kLeaves) {
            const QStringList f = QString(row).split(" | "), enc = f[3].split(' '), sizes = f[4].split(' ');
            const QString scope = f[0].contains("::") ? "static" : "global";
            const QStringList want{f[rv32 ? 2 : 1], enc.value(rv32, enc[0]), sizes[rv32], scope, sizes[2]};
            QCOMPARE(f[0] + ": " + listed.value(f[0]), f[0] + ": " + want.join(" | "));
        }
    }

    // input | arguments after it | message on standard output or error (parts between "/") | names in
    // the list ("-name": not in it)
    void commandLine_data() {
        Row::Column();
        QTest::newRow("short option, per dimension") << "good | -a 2 |  | g_matrix[1][1] g_sensor.pos[1].y "
                                                        "-g_matrix[1][2] -g_table[2] -g_sensor.raw.bytes[2]";
        QTest::newRow("0 lists all") << "good | --array-limit=0 |  | g_big[999] -g_big[1000]";
        QTest::newRow("no variables: empty list") << "novars |  |  | ";
        QTest::newRow("help tells what is left out")
            << "none | --help | --array-limit <count>/Default: 64/bit-fields/"
               "without a fixed address/beyond the array limit/elf.json | ";
        QTest::newRow("missing file") << "missing |  | cannot open | ";
        QTest::newRow("text file") << "text |  | is not an ELF file | ";
        QTest::newRow("ELF without -g") << "nodebug |  | has no debug information | ";
        QTest::newRow("object file") << "object |  | is not a linked program | ";
        QTest::newRow("bad DWARF version") << "badversion |  | cannot read the debug information | ";
        QTest::newRow("garbled DWARF") << "garbled |  | cannot read the debug information | ";
        QTest::newRow("no argument") << "none |  | expected exactly one ELF file | ";
        QTest::newRow("bad limit") << "good | --array-limit -3 | --array-limit needs a count | ";
        QTest::newRow("unknown option") << "good | --bogus | Unknown option 'bogus' | ";
    }
    void commandLine() {
        const QStringList f = Row::Fields();
        const QString input = f[0], message = f[2];
        const QStringList args = f[1].split(' ', Qt::SkipEmptyParts),
                          listed = f[3].split(' ', Qt::SkipEmptyParts);
        const QString dir = FreshDir(), elf = dir + "/input.elf", good = m_builds["host-dwarf5"].elf;
        if (input == "good" || input == "text") // a C source as the text file
            QVERIFY(QFile::copy(input == "good" ? good : kFixtures + "novars.c", elf));
        else if (input == "nodebug" || input == "object" || input == "novars")
            QVERIFY(Compile(false,
                            input == "nodebug"  ? "-O0"
                            : input == "object" ? "-g -c"
                                                : "-g",
                            {kFixtures + (input == "object" ? "other.c" : "novars.c")}, elf));
        else if (input == "badversion" || input == "garbled") {
            // Damage the unit headers of a good file's .debug_info and put the section back.
            const QString bin = dir + "/info.bin";
            QCOMPARE(Run("objcopy", {"--dump-section", ".debug_info=" + bin, good}).exitCode, 0);
            QFile section(bin);
            QVERIFY(section.open(QIODevice::ReadWrite));
            QByteArray bytes = section.readAll();
            if (input == "badversion")
                bytes[4] = char(99);
            else
                bytes.replace(12, bytes.size() - 12, QByteArray(bytes.size() - 12, char(0xee)));
            QVERIFY(section.seek(0) && section.write(bytes) == bytes.size() && section.flush());
            QCOMPARE(Run("objcopy", {"--update-section", ".debug_info=" + bin, good, elf}).exitCode, 0);
        }
        Output r;
        const QJsonArray list = Extract(input == "none" ? args : QStringList{elf} + args, dir, &r);
        const QString output = QString::fromLocal8Bit(r.out + r.err);
        for (const QString& part : message.split('/', Qt::SkipEmptyParts))
            QVERIFY2(output.contains(part), qPrintable(output));
        const bool failure = !message.isEmpty() && !args.contains("--help");
        QCOMPARE(r.exitCode != 0, failure);
        if (args.contains("--help"))
            return;
        // A list from an earlier run never survives a failed one; a success replaces it.
        QCOMPARE(QFileInfo::exists(dir + "/elf.json"), !failure);
        QStringList names;
        for (const QJsonValue& group : list)
            for (const QJsonValue& var : group.toObject().value("dataList").toArray())
                names << var.toObject().value("name").toString();
        QCOMPARE(names.isEmpty(), listed.isEmpty());
        for (const QString& name : listed)
            QVERIFY2(names.contains(name.mid(name.startsWith('-'))) != name.startsWith('-'),
                     qPrintable(name));
    }

    // The writer's escaping reads back through Qt's JSON parser as exactly what went in.
    // name | suffix, bytes other than letters percent-encoded
    void namesReadBackUnchanged_data() {
        Row::Column();
        QTest::newRow("quote and backslash") << "a%22b%5Cc | [1]";
        QTest::newRow("control characters") << "tab%09nl%0Acr%0D%01%1F | ";
        QTest::newRow("escape in suffix only") << "s | .q%22";
        QTest::newRow("UTF-8") << "größe_日 | .é";
    }
    void namesReadBackUnchanged() {
        const QStringList f = Row::Fields();
        const QByteArray name = QByteArray::fromPercentEncoding(f[0].toUtf8()),
                         suffix = QByteArray::fromPercentEncoding(f[1].toUtf8());
        ElfVariable var{name, Q_UINT64_C(0xffffffff80000000), "global", {{suffix, 4, 2, "short"}}};
        const QJsonArray top = QJsonDocument::fromJson(ElfVariablesJson({{name + ".c", {var}}})).array();
        QCOMPARE(top[0].toObject().value("name").toString(), QString::fromUtf8(name + ".c"));
        const QJsonObject entry = top[0].toObject().value("dataList").toArray().at(0).toObject();
        QCOMPARE(entry.value("name").toString(), QString::fromUtf8(name + suffix));
        QCOMPARE(entry.value("address").toString(), QString("ffffffff80000004"));
    }

    void writeIntoMissingFolderFails() {
        const QString path = m_dir.filePath("missing/elf.json");
        QString error;
        QCOMPARE(WriteElfJson(path, {}, &error), -1);
        QVERIFY2(error.contains("cannot write"), qPrintable(error));
        QVERIFY(!QFileInfo::exists(path));
        QCOMPARE(RemoveStaleOutput(path, &error), 0);
    }
};

QTEST_GUILESS_MAIN(TestExtractor)
#include "tst_extractor.moc"
