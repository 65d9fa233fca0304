// A project file as the configuration store reads it.
#include "CommonCfg.h"

#include <QFile>
#include <QTemporaryDir>
#include <cstdio>
#include <cstdlib>

// Qt 5.15's JSON parser loses memory on an object that names a key twice; leaks of the reader itself
// are left to the unit tests under the address sanitizer.
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet =
        (qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {}),
         std::freopen("/dev/null", "w", stdout), true);
    (void)quiet;
    static QTemporaryDir dir;
    const QString path = dir.filePath("fuzz.tidewatch");
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            std::abort();
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    CommonCfg::ResetForTests();
    CommonCfg::LoadProject(path);
    // Whatever the file says, the settings stay within their tables and a save still works.
    if (!CommonCfg::FpsList().contains(CommonCfg::Fps()) ||
        CommonCfg::Interval() < CommonCfg::MinInterval() ||
        CommonCfg::Interval() > CommonCfg::MaxInterval() || CommonCfg::CurrentStepValue() <= 0)
        std::abort();
    CommonCfg::SaveProject(path);
    return 0;
}
