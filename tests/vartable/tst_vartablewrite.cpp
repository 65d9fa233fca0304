// A value typed into the table reaches a GDB server on loopback as the exact memory-write packet,
// and only when Return finishes the edit.
#include "CommonCfg.h"
#include "DataSource.h"
#include "FakeGdbServer.h"
#include "GdbTransport.h"
#include "Row.h"
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
    }

    // type | typed | how the edit ends | packet on the wire (none when nothing is written)
    void typedValue_data() {
        Row::Column();
        QTest::newRow("int") << "int | 1234 | return | M20000040,4:d2040000";
        QTest::newRow("unsigned char") << "unsigned char | 200 | return | M20000040,4:c8000000";
        QTest::newRow("focus lost") << "int | 5 | focus out | ";
        QTest::newRow("keypad Enter") << "int | 5 | enter | ";
    }
    void typedValue() {
        const QStringList f = Row::Fields();
        const QString type = f[0], typed = f[1], finish = f[2], packet = f[3];
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
        if (finish == "focus out") {
            QFocusEvent out(QEvent::FocusOut);
            QApplication::sendEvent(edit, &out);
        }
        QTest::keyClick(edit, finish == "return" ? Qt::Key_Return : Qt::Key_Enter);
        QCOMPARE(server.waitForCommand("M", packet.isEmpty() ? 300 : 5000), !packet.isEmpty());
        QStringList written;
        for (const std::string& command : server.commands())
            written << QString::fromStdString(command);
        QCOMPARE(written, packet.isEmpty() ? QStringList() : QStringList{packet});
    }
};

QTEST_MAIN(VarTableWriteTest)
#include "tst_vartablewrite.moc"
