#include "VarTableWidget.h"

#include "CommonCfg.h"
#include "DataSource.h"
#include "LogCategories.h"
#include "MemoryWrite.h"
#include "SampleValue.h"
#include "TypedValueValidator.h"
#include "ValueLineEdit.h"
#include "WatchList.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPalette>
#include <QPixmap>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QTableWidgetItem>
#include <cstdio>

namespace {

const Qt::Alignment kCentred = Qt::AlignHCenter | Qt::AlignVCenter;

QTableWidgetItem* CentredItem(const QString& text) {
    auto* item = new QTableWidgetItem(text);
    item->setTextAlignment(kCentred);
    return item;
}

QTableWidgetItem* ReadOnlyItem(const QString& text) {
    QTableWidgetItem* item = CentredItem(text);
    item->setFlags(item->flags() & ~Qt::ItemIsEditable);
    return item;
}

// A cell widget that holds one control, centred, without margins.
QWidget* CentredCell(QWidget* content, QHBoxLayout*& layout) {
    auto* cell = new QWidget;
    layout = new QHBoxLayout(cell);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setAlignment(kCentred);
    layout->addWidget(content);
    return cell;
}

// For the row order only: a text that is no 32-bit address sorts first. Writes refuse it.
quint32 AddressOf(const VarParser::VarDes* des) {
    uint32_t address = 0;
    if (des != nullptr)
        parseAddress(des->address, address);
    return address;
}

QString General(double value) {
    return QString::number(value, 'g', 6);
}

void PrintLine(const QString& line) {
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

// Row bookkeeping once printed to standard output: a debug line now, its text unchanged.
void DebugLine(const QString& line) {
    qCDebug(lcTable).noquote() << line;
}

} // namespace

VarTableWidget::VarTableWidget(QObject* parent)
    : QObject(parent), m_colorTitle(tr("Color")), m_showTitle(tr("Show")), m_nameTitle(tr("Name")),
      m_addressTitle(tr("Address")), m_typeTitle(tr("Type")), m_valueTitle(tr("Value")),
      m_yResolutionTitle(tr("Y Resolutin")), m_yOffsetTitle(tr("Y Offset")), m_minTitle(tr("min")),
      m_maxTitle(tr("max")), m_movingAverageTitle(tr("moving average")), m_meanTitle(tr("mean")),
      m_peakToPeakTitle(tr("p-p")), m_lockTitle(tr("Lock")) {
    m_titles << m_colorTitle << m_showTitle << m_nameTitle << m_addressTitle << m_typeTitle << m_valueTitle
             << m_yResolutionTitle << m_yOffsetTitle << m_minTitle << m_maxTitle << m_meanTitle
             << m_peakToPeakTitle << m_movingAverageTitle << m_lockTitle;
    m_table = new DragableRowsTable;
    connect(m_table, &DragableRowsTable::removeLine, this, &VarTableWidget::RemoveLine);
    // Dragged or sorted rows take their records along: row i always shows record i.
    connect(m_table, &DragableRowsTable::lineSwapped, this, &VarTableWidget::SyncRowOrder);
    connect(m_table, &DragableRowsTable::lindMoveTo, this, &VarTableWidget::SyncRowOrder);
    connect(m_table->model(), &QAbstractItemModel::layoutChanged, this, &VarTableWidget::SyncRowOrder);
    SetupTable();
}

VarTableWidget::~VarTableWidget() {
    if (CommonCfg::VarTable() == this)
        CommonCfg::SetVarTable(nullptr);
    // Until the dock takes it, the table is ours.
    if (m_table != nullptr && m_table->parent() == nullptr)
        delete m_table;
    qDeleteAll(m_lineItems);
}

void VarTableWidget::SetupTable() {
    m_table->setColumnCount(m_titles.size());
    m_table->setHorizontalHeaderLabels(m_titles);
    m_table->setDragEnabled(true);
    m_table->SetSortableColumns(&m_sortableColumns);
    m_table->InstallDeleteMenu();
    // The "+" row stays last.
    m_table->SetLastRowAcceptDrops(false);

    QHeaderView* vertical = m_table->verticalHeader();
    QHeaderView* horizontal = m_table->horizontalHeader();
    vertical->hide();
    vertical->setDefaultSectionSize(15);
    horizontal->setDefaultSectionSize(15);
    vertical->setDefaultAlignment(Qt::AlignVCenter);
    horizontal->setDefaultAlignment(Qt::AlignHCenter);
    m_table->resizeColumnsToContents();
    horizontal->setMinimumSectionSize(50);
    for (const QString& title : {m_showTitle, m_nameTitle, m_addressTitle, m_valueTitle})
        horizontal->setSectionResizeMode(Column(title), QHeaderView::ResizeToContents);
    horizontal->setSectionsMovable(true);

    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);

    connect(m_table, &QTableWidget::cellClicked, this, &VarTableWidget::OnClickedTable);
    connect(m_table, &QTableWidget::cellChanged, this, &VarTableWidget::CellChanged);
    m_table->hideColumn(Column(m_movingAverageTitle));
    AppendAddRow();
}

void VarTableWidget::SetDataSource(DataSource* source) {
    m_dataSource = source;
    CommonCfg::SetVarTable(this);
}

QValidator* VarTableWidget::MakeValueValidator(const QString& type, const QString& encoding, int size,
                                               QObject* parent) {
    return new TypedValueValidator(typeCodeOf(type, encoding, size), parent);
}

bool VarTableWidget::IsValidYOffset(const QString& text) {
    static const QRegularExpression re(QRegularExpression::anchoredPattern("(-?[1-9][0-9]*)|(0)"));
    return re.match(text).hasMatch();
}

bool VarTableWidget::IsValidYResolution(const QString& text) {
    static const QRegularExpression re(
        QRegularExpression::anchoredPattern("([1-9][0-9]*)|([1-9]\\d+\\.\\d+)|([0-9]\\.\\d+)"));
    return re.match(text).hasMatch();
}

VarTableWidget::LineItem* VarTableWidget::CreateLineItem(VarParser::VarDes* des) {
    auto* item = new LineItem;
    item->varDes = des;
    item->colorLabel = new QLabel;
    item->colorLabel->setProperty("lineItem", QVariant::fromValue(item));

    item->showChkBox = new QCheckBox;
    if (m_shownCount < CommonCfg::CurveLimit()) {
        item->showChkBox->setChecked(true);
        ++m_shownCount;
    } else {
        item->showChkBox->setEnabled(false);
    }
    item->showCell = CentredCell(item->showChkBox, item->showLayout);

    item->valueEdit = new ValueLineEdit;
    item->valueEdit->setText("0");
    item->valueEdit->setStyleSheet("QLineEdit{border-width:0;border-style:outset}");
    item->valueCell = CentredCell(item->valueEdit, item->valueLayout);

    item->yResolutionItem = CentredItem("1");
    item->yOffsetItem = CentredItem("0");
    item->minItem = CentredItem(QString());
    item->maxItem = CentredItem(QString());
    item->movingAverageItem = CentredItem(QString());

    item->lockChkBox = new QCheckBox;
    item->lockCell = CentredCell(item->lockChkBox, item->lockLayout);

    connect(item->showChkBox, &QCheckBox::toggled, this, &VarTableWidget::ShowChkBoxChanged);
    connect(item->lockChkBox, &QCheckBox::toggled, this, &VarTableWidget::LockChkBoxChanged);
    connect(item->valueEdit, &ValueLineEdit::EditDone, this, &VarTableWidget::ValueLineEdited);

    InsertByAddress(item);
    // A row that fills the last free curve slot closes the others, as a tick would.
    if (m_shownCount >= CommonCfg::CurveLimit())
        DisableSpareShowBoxes();
    return item;
}

void VarTableWidget::InsertByAddress(LineItem* item) {
    // Before the first equal or greater address: a duplicate goes above the one already there.
    const quint32 address = AddressOf(item->varDes);
    for (int i = 0; i < m_lineItems.size(); ++i) {
        if (AddressOf(m_lineItems.at(i)->varDes) >= address) {
            m_lineItems.insert(i, item);
            return;
        }
    }
    m_lineItems.append(item);
}

QColor VarTableWidget::PickColor() const {
    QList<QRgb> used;
    for (const LineItem* item : m_lineItems) {
        const QVariant rgb = item->colorLabel->property("rgb");
        if (rgb.isValid())
            used << rgb.toUInt();
    }
    const QList<QColor> palette = CommonCfg::Palette();
    for (const QColor& color : palette) {
        if (!used.contains(color.rgb()))
            return color;
    }
    return palette.at(QRandomGenerator::global()->bounded(palette.size()));
}

void VarTableWidget::FillRow(int row, LineItem* item) {
    // Putting items in place must not look like user edits.
    const QSignalBlocker blocker(m_table);
    PaintSwatch(item->colorLabel, PickColor());
    item->colorLabel->setAlignment(kCentred);

    const VarParser::VarDes* des = item->varDes;
    m_table->setCellWidget(row, Column(m_colorTitle), item->colorLabel);
    m_table->setCellWidget(row, Column(m_showTitle), item->showCell);
    m_table->setItem(row, Column(m_nameTitle), ReadOnlyItem(des->name));
    m_table->setItem(row, Column(m_addressTitle), ReadOnlyItem(des->address));
    m_table->setItem(row, Column(m_typeTitle), ReadOnlyItem(des->type));
    item->valueEdit->setValidator(MakeValueValidator(des->type, des->encoding, des->size, item->valueEdit));
    // Room for every digit of the widest value of the type; the column follows its widest cell.
    const QString widest(widestSampleText(typeCodeOf(*des)), '8');
    item->valueEdit->setMinimumWidth(item->valueEdit->fontMetrics().horizontalAdvance(widest) + 12);
    m_table->setCellWidget(row, Column(m_valueTitle), item->valueCell);
    m_table->setItem(row, Column(m_yResolutionTitle), item->yResolutionItem);
    m_table->setItem(row, Column(m_yOffsetTitle), item->yOffsetItem);
    m_table->setItem(row, Column(m_minTitle), item->minItem);
    m_table->setItem(row, Column(m_maxTitle), item->maxItem);
    m_table->setItem(row, Column(m_movingAverageTitle), item->movingAverageItem);
    m_table->setCellWidget(row, Column(m_lockTitle), item->lockCell);
}

void VarTableWidget::PaintSwatch(QLabel* label, const QColor& color) const {
    QPixmap swatch(m_swatchSize, m_swatchSize);
    swatch.fill(color);
    label->setPixmap(swatch);
    label->setProperty("rgb", QVariant::fromValue<uint>(color.rgb()));
}

void VarTableWidget::AppendAddRow() {
    const int row = m_table->rowCount();
    m_table->insertRow(row);
    auto* add = new QLabel("+");
    add->setProperty("isAdd", true);
    add->setAlignment(kCentred);
    m_table->setCellWidget(row, Column(m_colorTitle), add);
}

QLabel* VarTableWidget::AddLabel() const {
    const int last = m_table->rowCount() - 1;
    if (last < 0)
        return nullptr;
    auto* label = qobject_cast<QLabel*>(m_table->cellWidget(last, Column(m_colorTitle)));
    return label != nullptr && label->property("isAdd").toBool() ? label : nullptr;
}

QVariantList VarTableWidget::ProjectRows() const {
    QVariantList rows;
    for (int row = 0; m_table != nullptr && row < m_table->rowCount(); ++row) {
        const LineItem* item = RecordOfRow(row);
        if (item == nullptr || item->varDes == nullptr)
            continue;
        const QTableWidgetItem* resolution = m_table->item(row, Column(m_yResolutionTitle));
        const QTableWidgetItem* offset = m_table->item(row, Column(m_yOffsetTitle));
        rows.append(QVariantMap{{"name", item->varDes->name},
                                {"address", item->varDes->address},
                                {"type", item->varDes->type},
                                {"rgb", item->colorLabel->property("rgb")},
                                {"show", item->showChkBox->isChecked()},
                                {"lock", item->lockChkBox->isChecked()},
                                {"yResolution", resolution != nullptr ? resolution->text() : QString("1")},
                                {"yOffset", offset != nullptr ? offset->text() : QString("0")}});
    }
    return rows;
}

VarTableWidget::LineItem* VarTableWidget::RecordOfRow(int row) const {
    const QWidget* cell = m_table->cellWidget(row, Column(m_colorTitle));
    return cell != nullptr ? cell->property("lineItem").value<LineItem*>() : nullptr;
}

int VarTableWidget::RowOf(const LineItem* item) const {
    for (int row = 0; row < m_table->rowCount(); ++row) {
        if (m_table->cellWidget(row, Column(m_colorTitle)) == item->colorLabel)
            return row;
    }
    return -1;
}

void VarTableWidget::SyncItems(LineItem* item) const {
    // A dragged row carries clones of its items (its widgets move as they are), so the record
    // follows its swatch to the row it is in now.
    const int row = RowOf(item);
    if (row < 0)
        return;
    item->yResolutionItem = m_table->item(row, Column(m_yResolutionTitle));
    item->yOffsetItem = m_table->item(row, Column(m_yOffsetTitle));
    item->minItem = m_table->item(row, Column(m_minTitle));
    item->maxItem = m_table->item(row, Column(m_maxTitle));
    item->movingAverageItem = m_table->item(row, Column(m_movingAverageTitle));
}

void VarTableWidget::DropRecord(int row, LineItem* item) {
    // Removing the row deletes its cell widgets, the show box among them: read it first.
    const bool shown = item->showChkBox->isChecked();
    m_lineItems.removeOne(item);
    if (row >= 0)
        m_table->removeRow(row);
    if (shown) {
        const int before = m_shownCount--;
        if (before == CommonCfg::CurveLimit())
            EnableShowBoxes();
    }
    delete item;
}

void VarTableWidget::DisableSpareShowBoxes() {
    for (LineItem* item : qAsConst(m_lineItems)) {
        if (item->showChkBox->isEnabled() && !item->showChkBox->isChecked())
            item->showChkBox->setEnabled(false);
    }
}

void VarTableWidget::EnableShowBoxes() {
    for (LineItem* item : qAsConst(m_lineItems)) {
        if (!item->showChkBox->isEnabled())
            item->showChkBox->setEnabled(true);
    }
}

bool VarTableWidget::Stopped() const {
    return CommonCfg::RunFlag() != 0;
}

void VarTableWidget::RemoveLine(int row) {
    LineItem* item = RecordOfRow(row);
    if (item == nullptr)
        return;
    // The variable is no longer chosen: the selection dialog and a reload of the list agree.
    item->varDes->selected = false;
    emit RemoveItem(*item->varDes);
    // The curve to drop is the record's, wherever its row has been dragged.
    const int index = m_lineItems.indexOf(item);
    DropRecord(row, item);
    DebugLine(QString("RemoveLine index = %1").arg(row));
    emit RemoveSeriesById(index);
}

void VarTableWidget::SyncRowOrder() {
    QList<LineItem*> order;
    for (int row = 0; row < m_table->rowCount(); ++row) {
        if (LineItem* item = RecordOfRow(row)) {
            SyncItems(item);
            order << item;
        }
    }
    // A drop mid-way (rows being re-made) is left for the signal that ends it.
    if (order == m_lineItems || order.size() != m_lineItems.size())
        return;
    m_lineItems = order;
    emit SetChartShowItems(m_lineItems);
}

void VarTableWidget::OnClickedTable(int row, int column) {
    if (column != Column(m_colorTitle))
        return;
    auto* label = qobject_cast<QLabel*>(m_table->cellWidget(row, column));
    if (label == nullptr)
        return;
    if (label->property("isAdd").toBool()) {
        // Disabled while sampling: no variables can be added then.
        if (label->isEnabled())
            emit AddItem();
        return;
    }
    const QColor color = QColorDialog::getColor(QColor::fromRgb(label->property("rgb").toUInt()), m_table);
    PaintSwatch(label, color);
    qCDebug(lcTable) << "ChangeColor#1";
    emit SendChartShowChanged(m_lineItems);
}

void VarTableWidget::ShowChkBoxChanged() {
    auto* box = qobject_cast<QCheckBox*>(sender());
    if (box == nullptr)
        return;
    if (box->isChecked()) {
        if (++m_shownCount >= CommonCfg::CurveLimit())
            DisableSpareShowBoxes();
    } else {
        const int before = m_shownCount--;
        if (before == CommonCfg::CurveLimit())
            EnableShowBoxes();
    }
    emit SendChartShowChanged(m_lineItems);
}

void VarTableWidget::LockChkBoxChanged() {
    for (LineItem* item : qAsConst(m_lineItems)) {
        if (item->lockChkBox == sender()) {
            item->valueEdit->setEnabled(!item->lockChkBox->isChecked());
            return;
        }
    }
}

void VarTableWidget::ValueLineEdited(ValueLineEdit* edit, QString text) {
    for (const LineItem* item : qAsConst(m_lineItems)) {
        if (item->valueEdit != edit)
            continue;
        uint32_t address = 0;
        if (!parseAddress(item->varDes->address, address)) {
            PrintLine(QString("LOG>>variable '%1' has the address '%2', which is not a 32-bit hexadecimal "
                              "address; the value is not written")
                          .arg(item->varDes->name, item->varDes->address));
            return;
        }
        QString refusal;
        const int result = m_dataSource != nullptr
                               ? m_dataSource->WriteData(address, typeCodeOf(*item->varDes), text, refusal)
                               : 0;
        if (result == kWriteRefused)
            emit WriteFailed(tr("%1 = %2 is not written: %3 (%4)")
                                 .arg(item->varDes->name, text.trimmed(), refusal, item->varDes->type));
        else if (result != 0)
            emit WriteFailed(
                tr("Writing %1 = %2 failed (error %3)").arg(item->varDes->name, text).arg(result));
        return;
    }
}

void VarTableWidget::CellChanged(int row, int column) {
    const QString title = m_titles.value(column);
    if (title != m_yOffsetTitle && title != m_yResolutionTitle)
        return;
    QTableWidgetItem* cell = m_table->item(row, column);
    if (cell == nullptr)
        return;
    // Replacing a rejected text must not come back here as a second change.
    const QSignalBlocker blocker(m_table);
    LineItem* item = RecordOfRow(row);
    if (item == nullptr) {
        // The "+" row carries no scaling: the cell gets back the last accepted text of the rows
        // above (the start texts while there are none).
        const LineItem* last = m_lineItems.isEmpty() ? nullptr : m_lineItems.last();
        if (title == m_yOffsetTitle)
            cell->setText(QString::number(last != nullptr ? last->lastYOffset : 0));
        else
            cell->setText(General(last != nullptr ? last->lastYResolution : 1.0));
        return;
    }
    SyncItems(item);
    // A dragged row is re-made cell by cell; until both scaling cells are there it is in transit.
    if (item->yOffsetItem == nullptr || item->yResolutionItem == nullptr)
        return;
    const quint32 address = AddressOf(item->varDes);

    if (title == m_yOffsetTitle) {
        if (IsValidYOffset(cell->text())) {
            item->lastYOffset = cell->text().toInt();
        } else {
            cell->setText("0");
            item->lastYOffset = 0;
        }
        const int offset = cell->text().toInt();
        const double resolution = item->yResolutionItem->text().toFloat();
        emit ChangeYResolutionAndOffset(address, offset, resolution);
        if (Stopped())
            emit ChangeLastYResolutionAndOffset(address, offset, resolution);
        return;
    }

    if (IsValidYResolution(cell->text())) {
        item->lastYResolution = cell->text().toFloat();
    } else {
        cell->setText("1");
        item->lastYResolution = 1.0;
    }
    const int offset = item->yOffsetItem->text().toInt();
    const double resolution = cell->text().toFloat();
    emit ChangeYResolutionAndOffset(address, offset, resolution);
    if (Stopped()) {
        DebugLine(QString("addr = %1 yOfst %2 yRes %3").arg(address).arg(offset).arg(resolution));
        emit ChangeLastYResolutionAndOffset(address, offset, resolution);
    }
}

void VarTableWidget::ClearTable() {
    m_shownCount = 0;
    for (int row = m_table->rowCount() - 1; row >= 0; --row)
        m_table->removeRow(row);
    qDeleteAll(m_lineItems);
    m_lineItems.clear();
    // The chart must not keep the records just released.
    emit SetChartShowItems(m_lineItems);
}

bool VarTableWidget::SelectionDiffers() const {
    if (AddLabel() == nullptr)
        return true;
    QVector<const VarParser::VarDes*> shown;
    for (const LineItem* item : m_lineItems) {
        if (!item->varDes->selected)
            return true;
        shown << item->varDes;
    }
    for (const VarParser::VarDes* des : VarParser::VarList()) {
        if (des->selected && !shown.contains(des) && typeCodeOf(*des) != kCodeNone)
            return true;
    }
    return false;
}

void VarTableWidget::UpdateTableWithVariableList() {
    if (!SelectionDiffers())
        return;
    for (int i = m_lineItems.size() - 1; i >= 0; --i) {
        LineItem* item = m_lineItems.at(i);
        if (!item->varDes->selected)
            DropRecord(RowOf(item), item);
    }

    QVector<const VarParser::VarDes*> kept;
    for (const LineItem* item : qAsConst(m_lineItems))
        kept << item->varDes;
    const int last = m_table->rowCount() - 1;
    if (last >= 0 && RecordOfRow(last) == nullptr)
        m_table->removeRow(last);
    m_table->setRowCount(m_lineItems.size());

    for (VarParser::VarDes* des : VarParser::VarList()) {
        // A variable no sample can hold never becomes a row (the selection dialog greys it).
        if (!des->selected || kept.contains(des) || typeCodeOf(*des) == kCodeNone)
            continue;
        LineItem* item = CreateLineItem(des);
        const int row = m_lineItems.indexOf(item);
        m_table->insertRow(row);
        FillRow(row, item);
    }

    AppendAddRow();
    emit SetChartShowItems(m_lineItems);
}

void VarTableWidget::UpdateAllYResolutionAndOffset() {
    for (LineItem* item : qAsConst(m_lineItems)) {
        SyncItems(item);
        emit ChangeYResolutionAndOffset(AddressOf(item->varDes), item->yOffsetItem->text().toInt(nullptr, 10),
                                        item->yResolutionItem->text().toFloat());
    }
}

void VarTableWidget::UpdateVarValue() {
    if (m_dataSource == nullptr)
        return;
    const QVector<QVector<QPointF>> points = m_dataSource->Points();
    const QStringList values = m_dataSource->ValueTexts();
    if (points.isEmpty() || points.first().isEmpty())
        return;
    // Hidden statistics items change here, not by the user.
    const QSignalBlocker blocker(m_table);
    for (int i = 0; i < points.size() && i < m_lineItems.size() && i < values.size(); ++i) {
        LineItem* item = m_lineItems.at(i);
        if (!item->valueEdit->IsIdle() || points.at(i).isEmpty())
            continue;
        // The variable's own value, unscaled, every digit: what a typed value means too.
        const QString& text = values.at(i);
        const QColor colour = item->valueEdit->text() == text ? Qt::black : Qt::red;
        QPalette palette = item->valueEdit->palette();
        palette.setColor(QPalette::All, QPalette::Text, colour);
        item->valueEdit->setPalette(palette);
        item->valueEdit->setText(text);
    }
}

void VarTableWidget::ShowStatistics(const QVector<QStringList>& rows) {
    const QSignalBlocker blocker(m_table); // not the user's edits
    const QStringList titles{m_minTitle, m_maxTitle, m_meanTitle, m_peakToPeakTitle};
    for (int row = 0; row < rows.size() && row < m_lineItems.size(); ++row) {
        for (int c = 0; c < titles.size(); ++c) {
            QTableWidgetItem* cell = m_table->item(row, Column(titles[c]));
            if (cell == nullptr) {
                cell = CentredItem(QString());
                cell->setFlags(cell->flags() & ~Qt::ItemIsEditable);
                m_table->setItem(row, Column(titles[c]), cell);
            }
            cell->setText(rows[row].value(c));
        }
    }
}

void VarTableWidget::DisableUpdateVarItem() {
    if (QLabel* add = AddLabel())
        add->setEnabled(false);
}

void VarTableWidget::EnableUpdateVarItem() {
    if (QLabel* add = AddLabel())
        add->setEnabled(true);
}
