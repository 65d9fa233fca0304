// The extractor's elf.json as the catalogue reads it.
#include "VarParser.h"

#include <QByteArray>
#include <cstdio>
#include <cstdlib>

// Qt 5.15's JSON parser loses memory on an object that names a key twice, which the fuzzer finds at
// once; leaks of the reader itself are left to the unit tests under the address sanitizer.
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The reader's diagnostics for broken files are expected here, millions of times over.
    static const bool quiet =
        (qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {}), true);
    (void)quiet;
    VarParser parser;
    parser.ParseText(QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<int>(size)));
    for (const VarParser::VarDes* v : VarParser::VarList())
        if (v == nullptr || v->size < 0 || v->size > 8)
            std::abort(); // sizes that cannot be sampled are refused
    return 0;
}
