// The compiled-in icons: every name the program uses loads as a 32 x 32 picture with a
// transparent ground and something drawn on it.
#include "Images.h"

#include <QImage>
#include <QtTest>

class ImagesTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { InitImageResources(); }
    void loads_data();
    void loads();
};

void ImagesTest::loads_data() {
    QTest::addColumn<QString>("path");
    for (const char* name : {"find", "start", "stop", "zoomin", "zoomout", "setting"})
        QTest::newRow(name) << QString(":/images/%1.png").arg(name);
}

void ImagesTest::loads() {
    QFETCH(QString, path);
    InitImageResources(); // a second call is harmless
    QImage image(path);
    QVERIFY2(!image.isNull(), qPrintable(path));
    QCOMPARE(image.size(), QSize(32, 32));
    QVERIFY(image.hasAlphaChannel());
    QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
    int drawn = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            drawn += qAlpha(image.pixel(x, y)) > 128 ? 1 : 0;
    QVERIFY2(drawn > 100, qPrintable(QString::number(drawn)));
}

QTEST_MAIN(ImagesTest)
#include "tst_images.moc"
