#include "ValueLineEdit.h"

#include <QKeyEvent>

ValueLineEdit::ValueLineEdit(QWidget* parent) : QLineEdit(parent) {}

QString ValueLineEdit::EditingStyle() {
    return QStringLiteral("border-style:outset;border-width:2px;border-color:blue");
}

QString ValueLineEdit::IdleStyle() {
    return QStringLiteral("border-width:0;border-style:outset");
}

void ValueLineEdit::BeginEdit() {
    setStyleSheet(EditingStyle());
    m_idle = false;
}

void ValueLineEdit::EndEdit() {
    m_idle = true;
    setStyleSheet(IdleStyle());
}

// Mouse press and focus changes are consumed here: the frame alone shows the edit state.
void ValueLineEdit::mousePressEvent(QMouseEvent*) {
    BeginEdit();
}

void ValueLineEdit::focusInEvent(QFocusEvent*) {
    BeginEdit();
}

void ValueLineEdit::focusOutEvent(QFocusEvent*) {
    EndEdit();
}

void ValueLineEdit::keyPressEvent(QKeyEvent* event) {
    // Only the main Return key writes; the keypad Enter key does not.
    if (event->key() == Qt::Key_Return) {
        EndEdit();
        emit EditDone(this, text());
        QLineEdit::keyPressEvent(event);
        LeaveCell();
        return;
    }
    QLineEdit::keyPressEvent(event);
}

void ValueLineEdit::LeaveCell() {
    // No text cursor stays behind: the keyboard goes to whatever holds the cell and takes focus (the
    // table, so the user goes on from the row), or nowhere.
    for (QWidget* holder = parentWidget(); holder != nullptr; holder = holder->parentWidget()) {
        if (holder->focusPolicy() != Qt::NoFocus) {
            holder->setFocus(Qt::OtherFocusReason);
            return;
        }
    }
    clearFocus();
}
