#include "ValueLineEdit.h"

#include <QApplication>
#include <QFocusEvent>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>
#include <QWidget>

class TestValueLineEdit : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void startsIdle();
    void finishKeys_data();
    void finishKeys();
    void editDoneComesBeforeReturnReachesBase();
    void idleAcrossEvents_data();
    void idleAcrossEvents();
    void mousePressLeavesCursorAlone();
    void focusOutFinishesNothing();

private:
    void step(const QString& action);

    QWidget* m_window = nullptr;
    ValueLineEdit* m_edit = nullptr;
    QLineEdit* m_other = nullptr;
};

void TestValueLineEdit::init() {
    m_window = new QWidget;
    auto* layout = new QVBoxLayout(m_window);
    m_edit = new ValueLineEdit;
    m_other = new QLineEdit;
    layout->addWidget(m_edit);
    layout->addWidget(m_other);
    m_other->setFocus();
    m_window->show();
    QApplication::setActiveWindow(m_window);
    QVERIFY(QTest::qWaitForWindowActive(m_window));
    QTRY_VERIFY(m_other->hasFocus());
}

void TestValueLineEdit::cleanup() {
    delete m_window;
    m_window = nullptr;
}

void TestValueLineEdit::startsIdle() {
    ValueLineEdit edit;
    QVERIFY(edit.IsIdle());
    QVERIFY(edit.parent() == nullptr);
    edit.SetIdle(false);
    QVERIFY(!edit.IsIdle());
}

void TestValueLineEdit::finishKeys_data() {
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("modifiers");
    QTest::addColumn<bool>("writes");
    QTest::newRow("Return") << int(Qt::Key_Return) << int(Qt::NoModifier) << true;
    QTest::newRow("keypad Enter") << int(Qt::Key_Enter) << int(Qt::KeypadModifier) << false;
    QTest::newRow("Enter without keypad flag") << int(Qt::Key_Enter) << int(Qt::NoModifier) << false;
    QTest::newRow("Escape") << int(Qt::Key_Escape) << int(Qt::NoModifier) << false;
    QTest::newRow("Tab") << int(Qt::Key_Tab) << int(Qt::NoModifier) << false;
}

void TestValueLineEdit::finishKeys() {
    QFETCH(int, key);
    QFETCH(int, modifiers);
    QFETCH(bool, writes);
    QSignalSpy done(m_edit, &ValueLineEdit::EditDone);

    QTest::mouseClick(m_edit, Qt::LeftButton);
    QTest::keyClicks(m_edit, "-12.5");
    QTest::keyClick(m_edit, Qt::Key(key), Qt::KeyboardModifiers(modifiers));

    QCOMPARE(done.count(), writes ? 1 : 0);
    if (writes) {
        QCOMPARE(done.at(0).at(0).value<ValueLineEdit*>(), m_edit);
        QCOMPARE(done.at(0).at(1).toString(), QString("-12.5"));
        QVERIFY(m_edit->IsIdle());
        QCOMPARE(m_edit->styleSheet(), QString("border-width:0;border-style:outset"));
    } else if (key != Qt::Key_Tab) {
        QVERIFY(!m_edit->IsIdle());
        QCOMPARE(m_edit->styleSheet(), QString("border-style:outset;border-width:2px;border-color:blue"));
    }
}

// The owner sees the typed text before the line edit's own Return handling runs.
void TestValueLineEdit::editDoneComesBeforeReturnReachesBase() {
    QStringList order;
    connect(m_edit, &ValueLineEdit::EditDone, this,
            [&order](ValueLineEdit*, QString value) { order << "EditDone " + value; });
    connect(m_edit, &QLineEdit::returnPressed, this, [&order] { order << "returnPressed"; });

    QTest::mouseClick(m_edit, Qt::LeftButton);
    QTest::keyClicks(m_edit, "42");
    QTest::keyClick(m_edit, Qt::Key_Return);

    QCOMPARE(order, (QStringList{"EditDone 42", "returnPressed"}));
}

void TestValueLineEdit::step(const QString& action) {
    if (action == "click") {
        QTest::mouseClick(m_edit, Qt::LeftButton);
    } else if (action == "focus in") {
        m_edit->setFocus(Qt::TabFocusReason);
        QTRY_VERIFY(m_edit->hasFocus());
    } else if (action == "focus out") {
        m_other->setFocus(Qt::MouseFocusReason);
        QTRY_VERIFY(m_other->hasFocus());
    } else if (action == "return") {
        QTest::keyClick(m_edit, Qt::Key_Return);
    } else if (action == "enter") {
        QTest::keyClick(m_edit, Qt::Key_Enter, Qt::KeypadModifier);
    } else if (action == "type") {
        QTest::keyClicks(m_edit, "7");
    } else {
        QFAIL(qPrintable("unknown step " + action));
    }
}

void TestValueLineEdit::idleAcrossEvents_data() {
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<bool>("idle");
    QTest::addColumn<int>("writes");
    QTest::newRow("click") << QStringList{"click"} << false << 0;
    QTest::newRow("focus in") << QStringList{"focus in"} << false << 0;
    QTest::newRow("click, leave") << QStringList{"click", "type", "focus out"} << true << 0;
    QTest::newRow("click, type, return") << QStringList{"click", "type", "return"} << true << 1;
    QTest::newRow("click, keypad enter") << QStringList{"click", "type", "enter"} << false << 0;
    QTest::newRow("return, keep typing") << QStringList{"click", "return", "type"} << true << 1;
    QTest::newRow("return, click again") << QStringList{"click", "return", "click"} << false << 1;
    QTest::newRow("focus in, return twice") << QStringList{"focus in", "return", "return"} << true << 2;
}

void TestValueLineEdit::idleAcrossEvents() {
    QFETCH(QStringList, steps);
    QFETCH(bool, idle);
    QFETCH(int, writes);
    QSignalSpy done(m_edit, &ValueLineEdit::EditDone);

    for (const QString& action : steps) {
        step(action);
        if (QTest::currentTestFailed())
            return;
    }

    QCOMPARE(m_edit->IsIdle(), idle);
    QCOMPARE(m_edit->styleSheet(), idle ? QString("border-width:0;border-style:outset")
                                        : QString("border-style:outset;border-width:2px;border-color:blue"));
    QCOMPARE(done.count(), writes);
}

// A press is taken for "start editing" only: it neither moves the cursor nor starts a selection.
void TestValueLineEdit::mousePressLeavesCursorAlone() {
    m_edit->setText("123456789");
    m_edit->setCursorPosition(0);
    QTest::mouseClick(m_edit, Qt::LeftButton, Qt::NoModifier,
                      QPoint(m_edit->width() - 3, m_edit->height() / 2));
    QCOMPARE(m_edit->cursorPosition(), 0);
    QVERIFY(!m_edit->IsIdle());
}

// Leaving the cell is not a finished edit: nothing is reported, not even the base class's signal.
void TestValueLineEdit::focusOutFinishesNothing() {
    QSignalSpy done(m_edit, &ValueLineEdit::EditDone);
    QSignalSpy finished(m_edit, &QLineEdit::editingFinished);
    step("focus in");
    step("type");
    step("focus out");
    QCOMPARE(done.count(), 0);
    QCOMPARE(finished.count(), 0);
    QCOMPARE(m_edit->text(), QString("7"));
    QVERIFY(m_edit->IsIdle());
}

QTEST_MAIN(TestValueLineEdit)
#include "tst_valuelineedit.moc"
