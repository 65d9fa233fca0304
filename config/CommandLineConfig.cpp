#include "CommandLineConfig.h"

#include "CommonCfg.h"

bool ApplyCommandLineConfig(const QStringList& values, QString* message) {
    // Split on single blanks with empty fields kept: two blanks in a row make an empty field.
    const QStringList fields = values.value(0).split(QLatin1Char(' '));
    if (fields.size() < 6) {
        *message =
            QStringLiteral("-c needs six fields separated by blanks (manufacturer, device, debug tool, "
                           "interface, speed in kHz, ELF path); got %1: \"%2\"")
                .arg(fields.size())
                .arg(values.value(0));
        return false;
    }
    CommonCfg::SetOptionsMode(true);
    ProjectRecord record = CommonCfg::Record();
    CommonCfg::SetManufacturer(fields[0] == QLatin1String("corvane") ? QStringLiteral("Corvane")
                                                                     : QStringLiteral("Pellonar"));
    record.device = fields[1];
    CommonCfg::SetDevice(fields[1]);
    record.debugTool = fields[2];
    // The simulated target and the user's own board have tool names of their own; the J-Link is found
    // by substring.
    CommonCfg::SetOpenocdProbe(fields[2] == QLatin1String("tidewatch-sim")   ? 2
                               : fields[2] == QLatin1String("openocd-board") ? 3
                               : fields[2].contains(QLatin1String("jlink"))  ? 0
                                                                             : 1);
    record.debugInterface = fields[3];
    CommonCfg::SetJtag(fields[3].compare(QLatin1String("swd"), Qt::CaseInsensitive) == 0 ? 0 : 1);
    record.rate = fields[4];
    CommonCfg::SetConnectRate(fields[4].toInt(nullptr, 10));
    record.elf = fields[5];
    CommonCfg::SetElfPath(record.elf);
    CommonCfg::SetBrowsePath(record.elf);
    CommonCfg::SetRecord(record);
    return true;
}

void ApplyBoardOptions(const QString& openocd, const QStringList& configs) {
    BoardSettings board = CommonCfg::Board();
    if (!openocd.isEmpty())
        board.openocd = openocd;
    if (!configs.isEmpty())
        board.configs = configs;
    CommonCfg::SetBoard(board);
}
