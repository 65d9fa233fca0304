#include "TableDockWidget.h"

#include <QAbstractButton>
#include <QCloseEvent>
#include <QMainWindow>
#include <QSignalSpy>
#include <QTest>

class TestTableDockWidget : public QObject {
    Q_OBJECT
private slots:
    void closeReportsAndCloses_data();
    void closeReportsAndCloses();
    void closeEventStaysAccepted();
};

void TestTableDockWidget::closeReportsAndCloses_data() {
    QTest::addColumn<bool>("floating");
    QTest::addColumn<QString>("how");
    QTest::newRow("docked, close button") << false << "button";
    QTest::newRow("docked, close()") << false << "close()";
    QTest::newRow("floating, window closed") << true << "window";
}

void TestTableDockWidget::closeReportsAndCloses() {
    QFETCH(bool, floating);
    QFETCH(QString, how);
    QMainWindow window;
    auto* dock = new TableDockWidget(" Table ", &window);
    QCOMPARE(dock->windowTitle(), QString(" Table "));
    window.addDockWidget(Qt::BottomDockWidgetArea, dock);
    dock->setFloating(floating);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QTRY_VERIFY(dock->isVisible());
    QSignalSpy closed(dock, &TableDockWidget::Closed);

    if (how == "button") {
        auto* button = dock->findChild<QAbstractButton*>("qt_dockwidget_closebutton");
        QVERIFY(button != nullptr);
        QVERIFY(button->isVisible());
        QTest::mouseClick(button, Qt::LeftButton);
    } else if (how == "window") {
        QVERIFY(dock->isWindow());
        QVERIFY(dock->windowHandle()->close()); // as the window system's close does
    } else {
        QVERIFY(dock->close());
    }

    QCOMPARE(closed.count(), 1);
    QVERIFY(!dock->isVisible());
    QVERIFY(window.isVisible());
}

void TestTableDockWidget::closeEventStaysAccepted() {
    TableDockWidget dock("t");
    QSignalSpy closed(&dock, &TableDockWidget::Closed);
    QCloseEvent event;
    QCoreApplication::sendEvent(&dock, &event);
    QVERIFY(event.isAccepted());
    QCOMPARE(closed.count(), 1);
}

QTEST_MAIN(TestTableDockWidget)
#include "tst_tabledockwidget.moc"
