#pragma once

#include <QCommandLineParser>
#include <QCoreApplication>
#include <cstdio>
#include <cstdlib>
#include <vector>

// A benchmark's positional numbers: name, help and default of each, --help, and a clear refusal (exit 2)
// of anything that is not a positive number.
struct BenchArgument {
    const char* name;
    const char* help;
    double fallback;
};

inline std::vector<double> BenchArguments(const QCoreApplication& app, const char* description,
                                          const std::vector<BenchArgument>& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromUtf8(description));
    parser.addHelpOption();
    for (const BenchArgument& argument : arguments)
        parser.addPositionalArgument(
            argument.name, QStringLiteral("%1 (default %2)").arg(argument.help).arg(argument.fallback),
            QStringLiteral("[%1]").arg(argument.name));
    parser.process(app);
    const QStringList given = parser.positionalArguments();
    if (given.size() > static_cast<int>(arguments.size())) {
        std::fprintf(stderr, "%s: too many arguments\n", qPrintable(app.applicationName()));
        std::exit(2);
    }
    std::vector<double> values;
    for (int i = 0; i < static_cast<int>(arguments.size()); ++i) {
        const BenchArgument& argument = arguments[static_cast<std::size_t>(i)];
        if (i >= given.size()) {
            values.push_back(argument.fallback);
            continue;
        }
        bool ok = false;
        const double value = given[i].toDouble(&ok);
        if (!ok || value <= 0) {
            std::fprintf(stderr, "%s: %s must be a positive number, not '%s'\n",
                         qPrintable(app.applicationName()), argument.name, qPrintable(given[i]));
            std::exit(2);
        }
        values.push_back(value);
    }
    return values;
}
