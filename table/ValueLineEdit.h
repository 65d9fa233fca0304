#pragma once

#include <QLineEdit>
#include <QString>

class QFocusEvent;
class QKeyEvent;
class QMouseEvent;

// The editor in a row's value cell. It shows the live value; while the user edits it (blue
// frame) it is not idle and the live refresh leaves it alone. Return reports the typed text.
class ValueLineEdit : public QLineEdit {
    Q_OBJECT
public:
    explicit ValueLineEdit(QWidget* parent = nullptr);

    // True while the cell is not being edited, so the refresh may overwrite its text.
    bool IsIdle() const { return m_idle; }
    void SetIdle(bool idle) { m_idle = idle; }

    static QString EditingStyle();
    static QString IdleStyle();

signals:
    void EditDone(ValueLineEdit* edit, QString value);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void BeginEdit();
    void EndEdit();
    // After Return: the cell looks idle again.
    void LeaveCell();

    bool m_idle = true;
};
