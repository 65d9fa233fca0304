#include "CommandLines.h"

namespace {
bool HasBlank(const QString& path) {
    return path.contains(QLatin1Char(' '));
}
} // namespace

QString JLinkCommand(const QString& serverPath, const LaunchFields& fields) {
    const QString server = HasBlank(serverPath) ? "\"" + serverPath + "\"" : serverPath;
    return server + " -singlerun -if " + fields.interface + " -select USB -device " + fields.device +
           " -port 3333 -speed " + fields.speed;
}

QString OpenocdCommand(const QString& openocdPath, const QString& ideFolder, const LaunchFields& fields,
                       QChar separator) {
    const bool blank = HasBlank(openocdPath);
    QString scripts = QStringLiteral("\\platforms\\platform-corvane\\scripts\\openocd\" -f "
                                     "interface\\cmsis-dap.cfg -f target\\");
    scripts.replace(QLatin1Char('\\'), separator);
    return (blank ? "\"" + openocdPath + "\"" : openocdPath) + " -c \"adapter speed " + fields.speed +
           (blank ? "\" -s \"" : "\" -s ") + ideFolder + scripts + fields.device + "-" + fields.interface +
           ".cfg";
}

QString OpenocdBesideProgram(const QString& programDir, QChar separator, const QString& fileName) {
    QStringList parts = programDir.split(QLatin1Char('/'));
    parts.removeLast();
    QString path;
    for (const QString& part : parts)
        path += part + separator;
    return path + "qx_openocd" + separator + "bin" + separator + fileName;
}

QStringList JLinkGdbLines() {
    return {"target remote localhost:3333", "monitor reset", "set var $pc=0x03000004", "monitor go", "c"};
}

QStringList OpenocdGdbLines() {
    return {"target remote localhost:3333", "monitor reset halt", "continue"};
}
