#include "TableDockWidget.h"

#include <QCloseEvent>

TableDockWidget::TableDockWidget(const QString& title, QWidget* parent) : QDockWidget(title, parent) {}

void TableDockWidget::closeEvent(QCloseEvent* event) {
    // The event stays accepted, so the dock closes after reporting it.
    if (event->type() == QEvent::Close)
        emit Closed();
}
