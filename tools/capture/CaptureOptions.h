#pragma once

#include "SamplingMode.h"
#include "VarParser.h"

#include <QString>
#include <QStringList>
#include <QVector>
#include <cstdint>

// What the command line asks of a capture.
struct CaptureOptions {
    QString host = "127.0.0.1";
    uint16_t port = 3333;
    int interval = 20;   // µs
    double duration = 0; // seconds; 0 when not given
    qint64 samples = 0;  // frames; 0 when not given
    QString output;      // empty: standard output
    QString symbols;     // elf.json
    QVector<VarParser::VarDes> variables;
    struct Assignment {
        QString name;
        QString value;
        VarParser::VarDes target;
    };
    QVector<Assignment> sets;
    double stallSeconds = 5; // give up when no frame arrives for this long
    SamplingMode mode = SamplingMode::Auto;
};

// Parses the arguments (without the program name). On failure returns false and sets `error`;
// `helpText` is filled when help was asked for (then the result is true and nothing else is set).
bool parseCaptureOptions(const QStringList& arguments, CaptureOptions& options, QString& error,
                         QString& helpText);

// "NAME@ADDRESS:TYPE:SIZE" into a descriptor; false with a reason when it is not of that form.
bool parseVariableSpec(const QString& text, VarParser::VarDes& out, QString& error);
