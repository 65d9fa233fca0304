#include "PopDialog.h"

#include <QDialogButtonBox>
#include <QRadioButton>
#include <QVBoxLayout>

PopDialog::PopDialog(QObject* mainWindow, QWidget* parent) : QDialog(parent), m_mainWindow(mainWindow) {
    m_newConfig = new QRadioButton(tr("New configuration"), this);
    m_openProject = new QRadioButton(tr("Open project"), this);
    m_newConfig->setChecked(true);
    QDialogButtonBox* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &PopDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &PopDialog::reject);
    QVBoxLayout* layout = new QVBoxLayout(this);
    layout->addWidget(m_newConfig);
    layout->addWidget(m_openProject);
    layout->addWidget(buttons);
    QMetaObject::invokeMethod(m_mainWindow, "NewProject");
}

void PopDialog::accept() {
    if (m_newConfig->isChecked())
        QMetaObject::invokeMethod(m_mainWindow, "NewProject");
    else if (m_openProject->isChecked())
        QMetaObject::invokeMethod(m_mainWindow, "OpenProject");
    QDialog::accept();
}
