#pragma once

#include "DragableRowsTable.h"
#include "VarParser.h"

#include <QHash>
#include <QList>
#include <QMetaType>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariantList>

class DataSource;
class QCheckBox;
class QHBoxLayout;
class QLabel;
class QTableWidgetItem;
class QValidator;
class QWidget;
class ValueLineEdit;

// The list of traced variables, shown as a table: one row per variable in ascending address order,
// then the "+" row. Columns are always found by their titles. Not a widget itself: it owns the
// table that the dock shows, and talks to the chart side through signals.
class VarTableWidget : public QObject {
    Q_OBJECT
    // The rows as plain data for the project file (see CommonCfg::VarTable).
    Q_PROPERTY(QVariantList projectRows READ ProjectRows)
public:
    // One row: its widgets, the variable it shows, and the scaling last accepted in it.
    struct LineItem {
        QLabel* colorLabel = nullptr;
        QCheckBox* showChkBox = nullptr;
        QCheckBox* lockChkBox = nullptr;
        ValueLineEdit* valueEdit = nullptr;
        QHBoxLayout* valueLayout = nullptr;
        QWidget* valueCell = nullptr;
        QTableWidgetItem* yResolutionItem = nullptr;
        QTableWidgetItem* yOffsetItem = nullptr;
        QTableWidgetItem* minItem = nullptr;
        QTableWidgetItem* maxItem = nullptr;
        QTableWidgetItem* movingAverageItem = nullptr;
        QHBoxLayout* showLayout = nullptr;
        QWidget* showCell = nullptr;
        QHBoxLayout* lockLayout = nullptr;
        QWidget* lockCell = nullptr;
        VarParser::VarDes* varDes = nullptr; // a catalogue record; not owned
        int lastYOffset = 0;
        double lastYResolution = 1.0;
    };

    explicit VarTableWidget(QObject* parent = nullptr);
    ~VarTableWidget() override;

    // The table for the dock (the dock then owns it).
    DragableRowsTable* GetTableWidget() const { return m_table; }
    QList<LineItem*>& LineItems() { return m_lineItems; }
    // One map per variable row in row order: "name", "address", "type", the colour cell's "rgb", the
    // "show" and "lock" boxes (bools) and the "yResolution" and "yOffset" texts.
    QVariantList ProjectRows() const;
    int ShownCount() const { return m_shownCount; }
    const QStringList& ColumnTitles() const { return m_titles; }
    // Column index of a title, -1 when unknown.
    int Column(const QString& title) const { return m_titles.indexOf(title); }

    // The data source whose batches the value column shows and which writes typed values. The
    // table also registers itself as the one the data side refreshes (UpdateVarValue) after each batch.
    void SetDataSource(DataSource* source);

    // The value editor's validator for a variable's type name, encoding key and size: the write's own
    // rules for its type (TypedValueValidator.h).
    static QValidator* MakeValueValidator(const QString& type, const QString& encoding, int size,
                                          QObject* parent);
    static bool IsValidYOffset(const QString& text);
    // A row's colour: its swatch and its "rgb" property.
    void PaintSwatch(QLabel* label, const QColor& color) const;
    static bool IsValidYResolution(const QString& text);

signals:
    void SendEditValue(quint32 addr, QString type, QString value);
    void SendChartShowChanged(QList<VarTableWidget::LineItem*>& lineItems);
    void SetChartShowItems(QList<VarTableWidget::LineItem*>& lineItems);
    void RemoveItem(VarParser::VarDes des);
    void AddItem();
    void ChangeYResolutionAndOffset(quint32 address, int offset, double resolution);
    void ChangeLastYResolutionAndOffset(quint32 address, int offset, double resolution);
    void RemoveSeriesById(int id);
    // A typed value was refused or could not be written; the text says which and why.
    void WriteFailed(const QString& message);

public slots:
    void UpdateVarValue();
    void ShowChkBoxChanged();
    void LockChkBoxChanged();
    void DisableUpdateVarItem();
    void EnableUpdateVarItem();
    void ValueLineEdited(ValueLineEdit* edit, QString text);
    void OnClickedTable(int row, int column);
    void CellChanged(int row, int column);
    void ClearTable();
    void UpdateTableWithVariableList();
    void UpdateAllYResolutionAndOffset();
    // Per row in row order: the texts of min, max, mean and peak-to-peak (RowStatistics.h).
    void ShowStatistics(const QVector<QStringList>& rows);
    // The records take the order the table's rows have now (after a drag or a sort), and the chart
    // its rows again.
    void SyncRowOrder();

private slots:
    void RemoveLine(int row);

private:
    void SetupTable();
    LineItem* CreateLineItem(VarParser::VarDes* des);
    void InsertByAddress(LineItem* item);
    void FillRow(int row, LineItem* item);
    QColor PickColor() const;
    void AppendAddRow();
    QLabel* AddLabel() const;
    LineItem* RecordOfRow(int row) const;
    int RowOf(const LineItem* item) const;
    void SyncItems(LineItem* item) const;
    // True when the rows no longer match the variables marked selected (or the "+" row is gone).
    bool SelectionDiffers() const;
    // Drops a record and its table row; keeps the shown count and the show boxes in step.
    void DropRecord(int row, LineItem* item);
    void DisableSpareShowBoxes();
    void EnableShowBoxes();
    bool Stopped() const;

    const QString m_colorTitle;
    const QString m_showTitle;
    const QString m_nameTitle;
    const QString m_addressTitle;
    const QString m_typeTitle;
    const QString m_valueTitle;
    const QString m_yResolutionTitle;
    const QString m_yOffsetTitle;
    const QString m_minTitle;
    const QString m_maxTitle;
    const QString m_movingAverageTitle;
    const QString m_meanTitle;
    const QString m_peakToPeakTitle;
    const QString m_lockTitle;
    const int m_swatchSize = 20;
    QStringList m_titles;
    QPointer<DragableRowsTable> m_table;
    int m_shownCount = 0;
    QList<LineItem*> m_lineItems;
    DragableRowsTable::ColumnSet m_sortableColumns;
    QPointer<DataSource> m_dataSource;
};

Q_DECLARE_METATYPE(VarTableWidget::LineItem*)
