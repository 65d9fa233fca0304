// The compiled-in icons: every name the program uses loads as its own 32 x 32 picture, drawn on a
// transparent ground.
#include "Images.h"

#include <QImage>
#include <QtTest>

class ImagesTest : public QObject {
    Q_OBJECT
private slots:
    void icons() {
        InitImageResources();
        InitImageResources(); // a second call is harmless
        QList<QImage> seen;
        for (const char* name : {"find", "start", "stop", "zoomin", "zoomout", "setting"}) {
            const QImage image(QString(":/images/%1.png").arg(name));
            QVERIFY2(image.size() == QSize(32, 32) && image.hasAlphaChannel(), name);
            QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
            int drawn = 0;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    drawn += qAlpha(image.pixel(x, y)) > 128 ? 1 : 0;
            QVERIFY2(drawn > 100 && !seen.contains(image), name);
            seen << image;
        }
    }
};

QTEST_MAIN(ImagesTest)
#include "tst_images.moc"
