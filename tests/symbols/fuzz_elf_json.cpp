// The extractor's elf.json as the catalogue reads it.
#include "VarParser.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static int argc = 1;
    static char name[] = "fuzz_elf_json";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    static QTemporaryDir dir;
    static const QString path = dir.filePath(QStringLiteral("elf.json"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        std::abort();
    file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    file.close();
    VarParser parser;
    parser.Parse(path);
    for (const VarParser::VarDes* v : VarParser::VarList())
        if (v == nullptr || v->size < 0)
            std::abort();
    return 0;
}
