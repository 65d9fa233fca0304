// The project file: one JSON object with the project record, the frame rate, the time-base step, the
// sampling mode, the trigger, the user's own board and the rows of the variable table with their settings.
#include "CommonCfg.h"
#include "TimeBase.h"

#include <QDebug>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>
#include <QVariant>
#include <cstdio>

namespace {

// A row colour as "0x" and lower-case hex, or "Qt::red" when the colour is not an unsigned number.
QString ColorText(const QVariant& rgb) {
    bool ok = false;
    const uint value = rgb.toUInt(&ok);
    return ok ? QStringLiteral("0x") + QString::number(value, 16) : QStringLiteral("Qt::red");
}

QJsonArray VarListOf(const QObject* table) {
    QJsonArray list;
    if (table == nullptr)
        return list;
    for (const QVariant& entry : table->property("projectRows").toList()) {
        const QVariantMap row = entry.toMap();
        list.append(QJsonObject{{"name", row.value("name").toString()},
                                {"address", row.value("address").toString()},
                                {"type", row.value("type").toString()},
                                {"color", ColorText(row.value("rgb"))},
                                {"show", row.value("show", true).toBool()},
                                {"lock", row.value("lock", false).toBool()},
                                {"yResolution", row.value("yResolution", "1").toString()},
                                {"yOffset", row.value("yOffset", "0").toString()}});
    }
    return list;
}

} // namespace

int CommonCfg::ApplyIntervalText(const QString& text, QString* message) {
    bool ok = false;
    const int us = text.trimmed().toInt(&ok);
    if (!ok || us < MinInterval() || us > MaxInterval()) {
        if (message != nullptr)
            *message = QStringLiteral("Sampling interval \"%1\" refused: give %2 to %3 us")
                           .arg(text)
                           .arg(MinInterval())
                           .arg(MaxInterval());
        return -1;
    }
    SetInterval(us);
    return 0;
}

void CommonCfg::SaveProject(const QString& path) {
    QFile file(path);
    // The writer reports nothing: an unopenable file simply stays unwritten.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return;
    const ProjectRecord r = Record();
    // Zoom index -1 (a loaded project named an unknown step) gives an empty label.
    const QJsonObject root{{"manufacturer", r.manufacturer},
                           {"device", r.device},
                           {"debugTool", r.debugTool},
                           {"debugInterface", r.debugInterface},
                           {"rate", r.rate},
                           {"interval", r.interval},
                           {"elf", r.elf},
                           {"fps", QString::number(Fps())},
                           {"ZoomFactor", CurrentStepLabel()},
                           {"samplingMode", SamplingModeName(Mode())},
                           {"trigger", QJsonObject::fromVariantMap(TriggerChoices())},
                           {"boardOpenocd", Board().openocd},
                           {"boardConfigs", QJsonArray::fromStringList(Board().configs)},
                           {"boardAttachOnly", Board().attachOnly},
                           {"VarList", VarListOf(VarTable())}};
    QTextStream out(&file);
    out.setCodec("UTF-8");
    out << QJsonDocument(root).toJson(QJsonDocument::Indented);
    out.flush();
    file.close();
}

void CommonCfg::LoadProject(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::printf("Can't Open project\n");
        std::fflush(stdout);
        return;
    }
    const QByteArray text = file.readAll();
    file.close();
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError) {
        qDebug() << "Open Json Fail";
        return;
    }
    if (!doc.isObject()) {
        qDebug() << "Incorrect file";
        return;
    }
    const QJsonObject root = doc.object();
    ProjectRecord r;
    r.manufacturer = root.value("manufacturer").toString();
    r.device = root.value("device").toString();
    r.debugTool = root.value("debugTool").toString();
    r.debugInterface = root.value("debugInterface").toString();
    r.rate = root.value("rate").toString();
    r.interval = root.value("interval").toString();
    r.elf = root.value("elf").toString();
    SetRecord(r);

    QString refused;
    if (ApplyIntervalText(r.interval, &refused) != 0) {
        std::printf("%s\n", qPrintable(refused));
        std::fflush(stdout);
    }
    // An unknown rate keeps the current one (SetFpsIndex refuses -1).
    bool ok = false;
    const uint fps = root.value("fps").toString().toUInt(&ok, 10);
    SetFpsIndex(ok ? FpsList().indexOf(static_cast<int>(fps)) : -1);
    SetZoomIndex(TimeBase::IndexOfLabel(root.value("ZoomFactor").toString()));
    // A project from before the setting, or with an unknown name, samples the way the server allows.
    SamplingMode mode = SamplingMode::Auto;
    ParseSamplingMode(root.value("samplingMode").toString(), mode);
    SetMode(mode);
    SetTriggerChoices(root.value("trigger").toObject().toVariantMap());
    BoardSettings board;
    board.openocd = root.value("boardOpenocd").toString();
    for (const QJsonValue& config : root.value("boardConfigs").toArray())
        board.configs << config.toString();
    board.attachOnly = root.value("boardAttachOnly").toBool();
    SetBoard(board);
    // The rows in "VarList" are the opener's to restore (ReadVarList): the variable table stays as it is.
}

QVariantList CommonCfg::ReadVarList(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QVariantList rows;
    for (const QJsonValue& value :
         QJsonDocument::fromJson(file.readAll()).object().value("VarList").toArray()) {
        const QJsonObject row = value.toObject();
        // "0x" and hex digits, or the "Qt::red" a colour that was no number was written as.
        bool ok = false;
        const uint rgb = row.value("color").toString().toUInt(&ok, 16);
        rows.append(QVariantMap{{"name", row.value("name").toString()},
                                {"address", row.value("address").toString()},
                                {"type", row.value("type").toString()},
                                {"rgb", ok ? rgb : QColor(Qt::red).rgb()},
                                {"show", row.value("show").toBool(true)},
                                {"lock", row.value("lock").toBool(false)},
                                {"yResolution", row.value("yResolution").toString("1")},
                                {"yOffset", row.value("yOffset").toString("0")}});
    }
    return rows;
}
