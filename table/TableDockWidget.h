#pragma once

#include <QDockWidget>
#include <QString>

class QCloseEvent;

// The dock that carries the variable table; it tells its owner when the user closes it.
class TableDockWidget : public QDockWidget {
    Q_OBJECT
public:
    explicit TableDockWidget(const QString& title, QWidget* parent = nullptr);

signals:
    void Closed();

protected:
    void closeEvent(QCloseEvent* event) override;
};
