// The tidewatch program: reads the "c" option, opens the main window centred on the first screen and
// the project dialog over it.
#include "CommandLineConfig.h"
#include "CommonCfg.h"
#include "MainWindow.h"
#include "PlatformLifetime.h"
#include "PopDialog.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFont>
#include <QScreen>
#include <cstdio>

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    CommonCfg::InitStartup(QCoreApplication::applicationDirPath());
    QCommandLineOption configOption(QStringLiteral("c"), QString(), QStringLiteral("."));
    // The user's own board ("openocd-board" as the debug tool of "c").
    QCommandLineOption openocdOption(QStringLiteral("openocd"), QStringLiteral("openocd program"),
                                     QStringLiteral("path"));
    QCommandLineOption boardOption(QStringLiteral("board-config"),
                                   QStringLiteral("board config file for openocd (repeatable)"),
                                   QStringLiteral("file"));
    QCommandLineParser parser;
    parser.addOptions({configOption, openocdOption, boardOption});
    parser.process(app);
    ApplyBoardOptions(parser.value(openocdOption), parser.values(boardOption));
    const QStringList values = parser.values(configOption);
    if (!values.isEmpty()) {
        QString message;
        if (!ApplyCommandLineConfig(values, &message)) {
            std::fprintf(stderr, "tidewatch: %s\n", qPrintable(message));
            return 2;
        }
    }
    QFont font(QStringLiteral("Microsoft YaHei"));
    font.setPixelSize(12);
    QApplication::setFont(font);

    MainWindow window;
    window.show();
    // A logout or a `kill` ends the program as closing its windows does: sampling stopped, the project
    // autosaved, the debug tools ended. Dialogs are closed too, so that none keeps a nested event loop.
    Platform::WatchStopSignals(&app, [] {
        QApplication::closeAllWindows();
        QCoreApplication::quit();
    });
    const QRect screen = QGuiApplication::screens().first()->geometry();
    window.move((screen.width() - window.width()) / 2, (screen.height() - window.height()) / 2);

    // Its construction opens the project dialog; it is placed but never shown itself.
    PopDialog popDialog(&window);
    popDialog.setModal(true);
    const QRect frame = window.frameGeometry();
    popDialog.move((screen.width() - popDialog.width()) / 2 + (frame.width() - frame.left()) / 2,
                   (screen.height() - popDialog.height()) / 2 + (frame.height() - frame.top()) / 3);
    return app.exec();
}
