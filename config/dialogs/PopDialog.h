#pragma once

#include <QDialog>

class QRadioButton;

// The start-up hook: its construction opens the new-configuration path of the main window at once.
// Shown, it offers the same choice again (new configuration or open project).
class PopDialog : public QDialog {
    Q_OBJECT
public:
    // The main window is asked for its NewProject() and OpenProject() slots by name.
    explicit PopDialog(QObject* mainWindow, QWidget* parent = nullptr);

public slots:
    void accept() override;

private:
    QRadioButton* m_newConfig = nullptr;
    QRadioButton* m_openProject = nullptr;
    QObject* m_mainWindow = nullptr;
};
