// Renders the hand-written SVG icon sources into the PNGs that are compiled in as resources.
//   tw_render_icons <svg folder> <png folder> [size]
// Every <name>.svg of the folder becomes <name>.png, size x size pixels with a transparent ground.
#include <QCoreApplication>
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <cstdio>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    if (args.size() < 3) {
        std::fprintf(stderr, "usage: tw_render_icons <svg folder> <png folder> [size]\n");
        return 2;
    }
    const QDir in(args.at(1));
    const QDir out(args.at(2));
    const int size = args.size() > 3 ? args.at(3).toInt() : 32;
    if (size <= 0) {
        std::fprintf(stderr, "bad size\n");
        return 2;
    }
    int failures = 0;
    for (const QString& file : in.entryList({"*.svg"}, QDir::Files, QDir::Name)) {
        QSvgRenderer renderer(in.filePath(file));
        if (!renderer.isValid()) {
            std::fprintf(stderr, "%s: not a valid SVG\n", qPrintable(file));
            ++failures;
            continue;
        }
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
        painter.end();
        const QString png = out.filePath(file.chopped(4) + ".png");
        if (!image.save(png, "PNG")) {
            std::fprintf(stderr, "%s: cannot write\n", qPrintable(png));
            ++failures;
            continue;
        }
        std::printf("%s\n", qPrintable(png));
    }
    return failures == 0 ? 0 : 1;
}
