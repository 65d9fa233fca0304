// readelf_variables: lists the sampleable variables of a firmware ELF file in "elf.json".
#include "DwarfReader.h"
#include "JsonOutput.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>

#include <cstdio>

namespace {

const char* const Description =
    "Lists every variable with a fixed address (globals, file-level and function-level statics) of a\n"
    "firmware ELF file built with debug information, and writes the list to elf.json in the current\n"
    "folder: one group per source file, one entry per scalar that can be sampled.\n"
    "Structs and unions are expanded to their members (outer.member), arrays to their elements\n"
    "(name[i]); function statics are named function::name.\n"
    "Left out: bit-fields, variables without a fixed address (locals, register or optimised-out\n"
    "variables, thread-locals), types with no scalar value (functions, complex numbers), and array\n"
    "elements beyond the array limit (see --array-limit).\n"
    "The file must be a linked program; object files are refused.\n"
    "On failure a message goes to standard error, the exit code is not 0 and no elf.json is left.";

void PrintError(const QString& message) {
    std::fprintf(stderr, "readelf_variables: %s\n", qPrintable(message));
}

int Fail(const QString& output, const QString& message) {
    PrintError(message);
    QString removeError;
    if (RemoveStaleOutput(output, &removeError) != 0) {
        PrintError(removeError);
    }
    return 1;
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("readelf_variables"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromLatin1(Description));
    parser.addHelpOption();
    const ElfExtractOptions defaults;
    QCommandLineOption limitOption(
        {QStringLiteral("a"), QStringLiteral("array-limit")},
        QStringLiteral(
            "List at most <count> elements per array dimension; longer arrays are cut to their first "
            "<count> elements. 0 lists every element. Default: %1.")
            .arg(defaults.arrayLimit),
        QStringLiteral("count"), QString::number(defaults.arrayLimit));
    parser.addOption(limitOption);
    parser.addPositionalArgument(QStringLiteral("elf"), QStringLiteral("The firmware ELF file."));

    const QString output = QDir::current().filePath(QStringLiteral("elf.json"));
    if (!parser.parse(QCoreApplication::arguments())) {
        return Fail(output, parser.errorText());
    }
    if (parser.isSet(QStringLiteral("help")) || parser.isSet(QStringLiteral("help-all"))) {
        parser.showHelp(0);
    }
    const QStringList args = parser.positionalArguments();
    if (args.size() != 1) {
        return Fail(output, QStringLiteral("expected exactly one ELF file (see --help)"));
    }
    ElfExtractOptions options;
    bool numberOk = false;
    options.arrayLimit = parser.value(limitOption).toInt(&numberOk);
    if (!numberOk || options.arrayLimit < 0) {
        return Fail(output, QStringLiteral("--array-limit needs a count of 0 or more, not '%1'")
                                .arg(parser.value(limitOption)));
    }

    // A crash from here on must not leave the previous list behind as if it were this file's.
    QString error;
    if (RemoveStaleOutput(output, &error) != 0) {
        return Fail(output, error);
    }
    QVector<ElfVariableGroup> groups;
    ElfExtractStats stats;
    if (ReadElfVariables(args.first(), options, &groups, &stats, &error) != 0) {
        return Fail(output, error);
    }
    if (WriteElfJson(output, groups, &error) != 0) {
        return Fail(output, error);
    }

    const int count = CountLeaves(groups);
    std::printf("readelf_variables: %d variables from %d source files written to %s\n", count,
                int(groups.size()), qPrintable(QDir::toNativeSeparators(output)));
    if (stats.arraysCut > 0) {
        std::printf("readelf_variables: %d arrays cut to their first %d elements (--array-limit)\n",
                    stats.arraysCut, options.arrayLimit);
    }
    if (stats.bitFields > 0) {
        std::printf("readelf_variables: %d bit-fields left out\n", stats.bitFields);
    }
    return 0;
}
