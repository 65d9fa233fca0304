// A value typed into the table reaches a GDB server on loopback as the exact memory-write packet.
#include "CommonCfg.h"
#include "DataSource.h"
#include "FakeGdbServer.h"
#include "GdbTransport.h"
#include "TableFixture.h"
#include "ValueLineEdit.h"
#include "WatchList.h"

#include <QtTest>

class VarTableWriteTest : public QObject {
    Q_OBJECT
private slots:
    void init() {
        VarParser::ResetForTests();
        CommonCfg::ResetForTests();
        watchList() = WatchList();
    }
    void cleanup() {
        gdbClose();
        VarParser::ResetForTests();
        CommonCfg::ResetForTests();
    }

    void typedValue_data();
    void typedValue();
    void focusLossWritesNothing();
};

void VarTableWriteTest::typedValue_data() {
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("packet");
    QTest::newRow("int") << "int"
                         << "1234"
                         << "M20000040,4:d2040000";
    QTest::newRow("int negative") << "int"
                                  << "-2"
                                  << "M20000040,4:feffffff";
    QTest::newRow("float takes the integer") << "float"
                                             << "3"
                                             << "M20000040,4:03000000";
    QTest::newRow("unsigned char") << "unsigned char"
                                   << "200"
                                   << "M20000040,4:c8000000";
}

void VarTableWriteTest::typedValue() {
    QFETCH(QString, type);
    QFETCH(QString, typed);
    QFETCH(QString, packet);
    QVERIFY(LoadCatalogue({{"a.c", {{"other", "20000010", "int"}, {"target", "0x20000040", type}}}}));
    VarTableWidget table;
    SelectByName(table, {"other", "target"});
    DataSource source;
    table.SetDataSource(&source);
    FakeGdbServer server;
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);

    ValueLineEdit* edit = table.LineItems().at(1)->valueEdit;
    QTest::mouseClick(edit, Qt::LeftButton);
    edit->clear();
    QTest::keyClicks(edit, typed);
    QCOMPARE(edit->text(), typed);
    QTest::keyClick(edit, Qt::Key_Return);

    QVERIFY(server.waitForCommand("M", 5000));
    const auto commands = server.commands();
    QCOMPARE(commands.size(), size_t(1));
    QCOMPARE(QString::fromStdString(commands[0]), packet);
}

void VarTableWriteTest::focusLossWritesNothing() {
    QVERIFY(LoadCatalogue({{"a.c", {{"target", "20000040", "int"}}}}));
    VarTableWidget table;
    SelectByName(table, {"target"});
    DataSource source;
    table.SetDataSource(&source);
    FakeGdbServer server;
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    ValueLineEdit* edit = table.LineItems().first()->valueEdit;
    QTest::mouseClick(edit, Qt::LeftButton);
    QTest::keyClicks(edit, "5");
    QFocusEvent out(QEvent::FocusOut);
    QApplication::sendEvent(edit, &out);
    QTest::keyClick(edit, Qt::Key_Enter); // the keypad key does not write either
    QVERIFY(!server.waitForCommand("M", 300));
    QCOMPARE(server.countCommands("M"), 0);
}

QTEST_MAIN(VarTableWriteTest)
#include "tst_vartablewrite.moc"
