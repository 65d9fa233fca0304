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

QStringList BoardOpenocdArguments(const QStringList& configs) {
    QStringList arguments;
    for (const QString& config : configs)
        arguments << "-f" << config;
    // An empty gdb-attach handler would be replaced by openocd's default halt at init; a comment is not.
    return arguments << "-c"
                     << "gdb_port 3333"
                     << "-c"
                     << "foreach t [target names] {"
                        " $t configure -gdb-max-connections 2 -event gdb-attach {# Tidewatch: no halt};"
                        " if {[$t cget -type] eq {riscv}} {"
                        " targets $t; riscv set_mem_access sysbus progbuf abstract } }"
                     << "-c"
                     << "init";
}

int ConfigInitLine(const QString& text) {
    int depth = 0; // braces open at the start of the line
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines[i].trimmed();
        if (depth == 0 && !line.startsWith(QLatin1Char('#')))
            for (const QString& command : line.split(QLatin1Char(';')))
                if (command.simplified().section(QLatin1Char(' '), 0, 0) == QLatin1String("init"))
                    return i + 1;
        if (!line.startsWith(QLatin1Char('#')))
            depth += line.count(QLatin1Char('{')) - line.count(QLatin1Char('}'));
    }
    return 0;
}

QString OpenocdFailureLine(const QByteArray& output) {
    const QStringList lines = QString::fromLocal8Bit(output).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QString error;
    for (const QString& line : lines) {
        // Tidewatch's own settings refused after init: a config ran it already.
        if (line.contains(QLatin1String("before 'init'")))
            return QStringLiteral("A board config calls init itself; remove it, Tidewatch calls init after "
                                  "its own settings.");
        if (line.contains(QLatin1String("Error")))
            error = line.trimmed();
    }
    return error.isEmpty() ? lines.value(lines.size() - 1).trimmed() : error;
}
