#include "CaptureOptions.h"

#include "ValueKind.h"
#include "WatchList.h"

#include <QCommandLineParser>
#include <QFileInfo>

namespace {

const int kMaxVariables = 34;

bool lookUpSymbol(const QString& name, const QVector<VarParser::VarDes*>& catalogue, VarParser::VarDes& out) {
    for (const VarParser::VarDes* d : catalogue) {
        if (d->name == name) {
            out = *d;
            return true;
        }
    }
    return false;
}

} // namespace

bool parseVariableSpec(const QString& text, VarParser::VarDes& out, QString& error) {
    const int at = text.indexOf('@');
    const int firstColon = text.indexOf(':', at + 1);
    const int lastColon = text.lastIndexOf(':');
    if (at <= 0 || firstColon < 0 || lastColon <= firstColon) {
        error = QString("'%1' is not NAME@ADDRESS:TYPE:SIZE").arg(text);
        return false;
    }
    QString address = text.mid(at + 1, firstColon - at - 1).trimmed();
    const QString type = text.mid(firstColon + 1, lastColon - firstColon - 1).trimmed();
    const QString sizeText = text.mid(lastColon + 1).trimmed();
    if (address.startsWith("0x", Qt::CaseInsensitive))
        address = address.mid(2);
    uint32_t parsed = 0;
    if (!parseAddress(address, parsed)) {
        error = QString("'%1': the address must be hexadecimal and fit in 32 bits").arg(text);
        return false;
    }
    bool sizeOk = false;
    const int size = sizeText.toInt(&sizeOk, 10);
    if (!sizeOk || size < 1 || size > 8) {
        error = QString("'%1': the size must be a number of bytes from 1 to 8").arg(text);
        return false;
    }
    if (type.isEmpty()) {
        error = QString("'%1': the type is missing").arg(text);
        return false;
    }
    out = VarParser::VarDes();
    out.name = text.left(at);
    out.address = address.toLower();
    out.type = type;
    out.size = size;
    return true;
}

bool parseCaptureOptions(const QStringList& arguments, CaptureOptions& options, QString& error,
                         QString& helpText) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Samples variables of a running target through a GDB server, with high-speed sampling or by\n"
        "polling its memory, and writes them as CSV: a header 'time,NAME1,NAME2,...', then one line per\n"
        "sample: its time stamp distance from the first sample (the server's ticks, or microseconds of\n"
        "the host's clock when polling), then each value (whole numbers for integer types, signed or\n"
        "unsigned as the type says, every digit; floats and doubles as their shortest exact text).\n"
        "A summary goes to standard error. Exit codes: 0 done, 2 usage, 3 no connection to the server,\n"
        "4 the session ended with an error, 5 a --set write failed, 6 no trigger came in time.\n"
        "With --trigger one window of --samples lines is written around the first trigger, the time\n"
        "column in microseconds from the trigger sample (0 there, negative before it); --duration is\n"
        "then the longest wait for the trigger.");
    const QCommandLineOption help({"h", "help"}, "Show this help.");
    const QCommandLineOption host("host", "GDB server address (default 127.0.0.1).", "ADDR", "127.0.0.1");
    const QCommandLineOption port("port", "GDB server port (default 3333).", "N", "3333");
    const QCommandLineOption symbols("symbols", "elf.json to look bare variable names up in.", "FILE");
    const QCommandLineOption interval(
        "interval", "Sampling interval in microseconds, 10..1000000 (default 20).", "US", "20");
    const QCommandLineOption duration("duration", "Stop after this many seconds.", "SEC");
    const QCommandLineOption samples("samples", "Stop after this many samples.", "N");
    const QCommandLineOption output("output",
                                    "Write the CSV here instead of standard output, each frame within\n"
                                    "about 100 ms of its arrival.",
                                    "FILE");
    const QCommandLineOption set(
        "set",
        "Once sampling runs, write VALUE into variable NAME in its own type, exactly\n"
        "its bytes (repeatable). A VALUE that is no value of that type (out of range,\n"
        "not a whole number for an integer) ends with code 5 before anything is written.",
        "NAME=VALUE");
    const QCommandLineOption stall(
        "stall-timeout", "Give up when the server has not answered for this long (default 5).", "SEC", "5");
    const QCommandLineOption mode("mode",
                                  "auto: high-speed sampling, or polling with memory reads when the server "
                                  "refuses it (default); hss or poll: only that way.",
                                  "auto|hss|poll", "auto");
    const QCommandLineOption trigger(
        "trigger", "Wait for VARIABLE NAME to cross LEVEL with EDGE rising, falling or either.",
        "NAME,EDGE,LEVEL");
    const QCommandLineOption pretrigger("pretrigger", "Lines before the trigger sample (default 0).", "N",
                                        "0");
    parser.addOptions({help, host, port, symbols, interval, duration, samples, output, set, stall, mode,
                       trigger, pretrigger});
    parser.addPositionalArgument("VARIABLE",
                                 "NAME@ADDRESS:TYPE:SIZE (address in hex, e.g. "
                                 "counter@0x20000000:int:4), or a NAME from --symbols.",
                                 "VARIABLE...");
    if (!parser.parse(QStringList{"tidewatch-capture"} + arguments)) {
        error = parser.errorText();
        return false;
    }
    if (parser.isSet(help)) {
        helpText = parser.helpText();
        return true;
    }

    options.host = parser.value(host);
    bool ok = false;
    const uint portValue = parser.value(port).toUInt(&ok);
    if (!ok || portValue == 0 || portValue > 65535) {
        error = "--port takes a number from 1 to 65535";
        return false;
    }
    options.port = static_cast<uint16_t>(portValue);
    options.interval = parser.value(interval).toInt(&ok);
    if (!ok || options.interval < 10 || options.interval > 1000000) {
        error = "--interval takes a number of microseconds from 10 to 1000000";
        return false;
    }
    options.triggered = parser.isSet(trigger);
    if (parser.isSet(duration) && parser.isSet(samples) && !options.triggered) {
        error = "--duration and --samples cannot be used together";
        return false;
    }
    if (parser.isSet(duration)) {
        options.duration = parser.value(duration).toDouble(&ok);
        if (!ok || options.duration <= 0) {
            error = "--duration takes a positive number of seconds";
            return false;
        }
    }
    if (parser.isSet(samples)) {
        options.samples = parser.value(samples).toLongLong(&ok);
        if (!ok || options.samples <= 0) {
            error = "--samples takes a positive number";
            return false;
        }
    }
    if (options.triggered && !parser.isSet(samples)) {
        error = "--trigger needs --samples, the length of the window";
        return false;
    }
    if (parser.isSet(pretrigger) && !options.triggered) {
        error = "--pretrigger needs --trigger";
        return false;
    }
    options.pretrigger = parser.value(pretrigger).toLongLong(&ok);
    if (!ok || options.pretrigger < 0 || (options.triggered && options.pretrigger >= options.samples)) {
        error = "--pretrigger takes a number of lines from 0 to one less than --samples";
        return false;
    }
    options.stallSeconds = parser.value(stall).toDouble(&ok);
    if (!ok || options.stallSeconds <= 0) {
        error = "--stall-timeout takes a positive number of seconds";
        return false;
    }
    options.output = parser.value(output);
    if (!ParseSamplingMode(parser.value(mode), options.mode)) {
        error = "--mode takes auto, hss or poll";
        return false;
    }

    QVector<VarParser::VarDes*> catalogue;
    VarParser catalogueReader;
    if (parser.isSet(symbols)) {
        options.symbols = parser.value(symbols);
        if (!QFileInfo(options.symbols).isFile()) {
            error = QString("symbol file '%1' not found").arg(options.symbols);
            return false;
        }
        VarParser::ResetForTests();
        catalogueReader.Parse(options.symbols);
        catalogue = VarParser::VarList();
        if (catalogue.isEmpty()) {
            error =
                QString("symbol file '%1' holds no variables (or is not valid JSON)").arg(options.symbols);
            return false;
        }
    }

    const QStringList names = parser.positionalArguments();
    if (names.isEmpty()) {
        error = "name at least one VARIABLE to sample";
        return false;
    }
    if (names.size() > kMaxVariables) {
        error = QString("at most %1 variables can be sampled at once").arg(kMaxVariables);
        return false;
    }
    for (const QString& name : names) {
        VarParser::VarDes des;
        if (name.contains('@')) {
            if (!parseVariableSpec(name, des, error))
                return false;
        } else if (catalogue.isEmpty()) {
            error = QString("'%1' is not NAME@ADDRESS:TYPE:SIZE, and no --symbols file was given").arg(name);
            return false;
        } else if (!lookUpSymbol(name, catalogue, des)) {
            error = QString("'%1' is not in %2").arg(name, options.symbols);
            return false;
        }
        options.variables.append(des);
    }

    if (options.triggered) {
        const QStringList fields = parser.value(trigger).split(',');
        options.triggerSlot = -1;
        for (int i = 0; fields.size() == 3 && i < options.variables.size(); ++i) {
            if (options.variables[i].name == fields[0])
                options.triggerSlot = i;
        }
        if (fields.size() != 3 || !ParseTriggerEdge(fields[1], options.edge)) {
            error = "--trigger takes NAME,EDGE,LEVEL with EDGE rising, falling or either";
            return false;
        }
        options.level = fields[2].toDouble(&ok);
        if (!ok) {
            error = QString("--trigger: the level '%1' is no number").arg(fields[2]);
            return false;
        }
        if (options.triggerSlot < 0) {
            error = QString("--trigger names '%1', which is no VARIABLE").arg(fields[0]);
            return false;
        }
    }

    for (const QString& assignment : parser.values(set)) {
        const int eq = assignment.indexOf('=');
        if (eq <= 0 || eq == assignment.size() - 1) {
            error = QString("--set takes NAME=VALUE, not '%1'").arg(assignment);
            return false;
        }
        CaptureOptions::Assignment a;
        a.name = assignment.left(eq);
        a.value = assignment.mid(eq + 1);
        bool known = false;
        for (const VarParser::VarDes& v : options.variables) {
            if (v.name == a.name) {
                a.target = v;
                known = true;
                break;
            }
        }
        if (!known && !lookUpSymbol(a.name, catalogue, a.target)) {
            error =
                QString("--set names '%1', which is neither a VARIABLE nor in the symbol file").arg(a.name);
            return false;
        }
        options.sets.append(a);
    }
    for (const VarParser::VarDes& v : options.variables) {
        const QString why = unsampledReason(valueKindOf(v.type, v.encoding), v.size);
        if (!why.isEmpty()) {
            error = QString("'%1' (%2, %3 bytes): %4").arg(v.name, v.type).arg(v.size).arg(why);
            return false;
        }
    }
    // A catalogue address that is no 32-bit address would be sampled or written somewhere else.
    QVector<VarParser::VarDes> named = options.variables;
    for (const CaptureOptions::Assignment& a : options.sets)
        named.append(a.target);
    for (const VarParser::VarDes& v : named) {
        uint32_t address = 0;
        if (!parseAddress(v.address, address)) {
            error = QString("'%1' has the address '%2', which is not a 32-bit hexadecimal address")
                        .arg(v.name, v.address);
            return false;
        }
    }
    return true;
}
