// The capture tool's command line: the input is its arguments, separated by NUL bytes.
#include "CaptureOptions.h"

#include <QCoreApplication>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static int argc = 1;
    static char name[] = "fuzz_capture_args";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    QStringList arguments =
        QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<int>(size)).split(QChar(0));
    // A symbols file is read whole: keep endless device files out of it.
    for (QString& a : arguments)
        if (a.contains(QLatin1String("/dev")) || a.contains(QLatin1String("/proc")))
            a.clear();
    CaptureOptions options;
    QString error, help;
    if (parseCaptureOptions(arguments, options, error, help)) {
        if (options.variables.isEmpty() && help.isEmpty())
            std::abort(); // a capture always names what it samples
    } else if (error.isEmpty()) {
        std::abort(); // every refusal says why
    }
    return 0;
}
