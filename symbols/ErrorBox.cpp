#include "ErrorBox.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QPushButton>

namespace {
std::function<bool(const QString&, const QString&)> g_standIn;
}

void SetErrorBoxStandIn(std::function<bool(const QString&, const QString&)> standIn) {
    g_standIn = std::move(standIn);
}

bool ShowErrorBox(const QString& text, const QString& detail) {
    if (g_standIn)
        return g_standIn(text, detail);
    QMessageBox box(QMessageBox::Warning, QCoreApplication::translate("ShowErrorBox", "Error"), text,
                    QMessageBox::NoButton, nullptr, Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    QPushButton* yes = box.addButton(QStringLiteral("Yes"), QMessageBox::AcceptRole);
    box.setDetailedText(detail);
    box.exec();
    return box.clickedButton() == yes;
}
