#include "SelectSymbolsDlg.h"

#include "Images.h"
#include "ValueKind.h"

#include <QAction>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHeaderView>
#include <QIcon>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>

namespace {

const char* const kFilterToolTip =
    "<html><head/><body><p><a name=\"tw-target-text\"/><span style=\" font-family:'inherit'; "
    "font-size:28px; color:#202124;\">F</span><span style=\" font-family:'inherit'; font-size:28px; "
    "color:#202124;\">ilter based on variable name</span></p></body></html>";

} // namespace

SelectSymbolsDlg::SelectSymbolsDlg(QWidget* parent)
    : QDialog(parent), m_headers{"Name", "Type", "Scope", "Size", "Address", "Select"} {
    InitImageResources();
    SetupUi();
}

void SelectSymbolsDlg::SetupUi() {
    if (objectName().isEmpty())
        setObjectName("SelectSymbolsDlg");
    resize(749, 532);
    setWindowFlags(Qt::Dialog | Qt::WindowCloseButtonHint);

    gridLayout = new QGridLayout(this);
    gridLayout->setObjectName("gridLayout");
    treeWidget = new QTreeWidget(this);
    treeWidget->setObjectName("treeWidget");
    gridLayout->addWidget(treeWidget, 0, 0);
    lineEdit = new QLineEdit(this);
    lineEdit->setObjectName("lineEdit");
    gridLayout->addWidget(lineEdit, 1, 0);
    buttonBox = new QDialogButtonBox(this);
    buttonBox->setObjectName("buttonBox");
    buttonBox->setOrientation(Qt::Horizontal);
    buttonBox->setStandardButtons(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    gridLayout->addWidget(buttonBox, 2, 0);

    setWindowTitle(tr("Select Symbols"));
    lineEdit->setToolTip(QString::fromUtf8(kFilterToolTip));

    treeWidget->setHeaderLabels(m_headers);
    treeWidget->setColumnCount(m_headers.size());
    treeWidget->setDragEnabled(false);
    treeWidget->header()->setSectionResizeMode(QHeaderView::ResizeToContents);

    const QIcon searchIcon = QIcon::fromTheme("Search", QIcon(":/images/find.png"));
    lineEdit->addAction(searchIcon, QLineEdit::LeadingPosition);
    lineEdit->setPlaceholderText(tr("Filter based on variable name"));

    treeWidget->installEventFilter(this);
    connect(lineEdit, &QLineEdit::textChanged, this, &SelectSymbolsDlg::filterTable);
    connect(buttonBox, &QDialogButtonBox::accepted, this, &SelectSymbolsDlg::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &SelectSymbolsDlg::reject);
}

void SelectSymbolsDlg::BuildTree() {
    treeWidget->clear();
    m_checkBoxes.clear();
    const int selectColumn = m_headers.indexOf("Select");
    for (const VarParser::VarGroup* group : VarParser::GroupList()) {
        // Each group goes on top, so the groups read in reverse file order.
        auto* groupItem = new QTreeWidgetItem(QStringList{group->name});
        treeWidget->insertTopLevelItem(0, groupItem);
        for (const VarParser::VarDes* des : group->vars) {
            auto* item =
                new QTreeWidgetItem(groupItem, QStringList{des->name, des->type, des->scope,
                                                           QString::number(des->size), des->address});
            auto* box = new QCheckBox;
            box->setAccessibleName(tr("Select %1").arg(des->name));
            // The tree's current row takes Space; the boxes themselves take no focus.
            box->setFocusPolicy(Qt::NoFocus);
            // A variable no sample can hold is shown greyed, with the reason.
            const QString why = unsampledReason(valueKindOf(des->type, des->encoding), des->size);
            if (!why.isEmpty()) {
                item->setDisabled(true);
                box->setEnabled(false);
                for (int c = 0; c < m_headers.size(); ++c)
                    item->setToolTip(c, why);
                box->setToolTip(why);
            }
            m_checkBoxes.append(box);
            treeWidget->setItemWidget(item, selectColumn, box);
        }
    }
    treeWidget->expandAll();
}

bool SelectSymbolsDlg::eventFilter(QObject* watched, QEvent* event) {
    if (watched == treeWidget && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Space) {
        auto* box = qobject_cast<QCheckBox*>(
            treeWidget->itemWidget(treeWidget->currentItem(), m_headers.indexOf("Select")));
        if (box != nullptr && box->isEnabled())
            box->toggle();
        return box != nullptr;
    }
    return QDialog::eventFilter(watched, event);
}

void SelectSymbolsDlg::InitItemAndShow() {
    BuildTree();
    ShowDialog();
}

void SelectSymbolsDlg::ShowDialog() {
    setModal(true);
    show();
    exec();
}

void SelectSymbolsDlg::filterTable(const QString& text) {
    for (QTreeWidgetItemIterator it(treeWidget); *it != nullptr; ++it) {
        QTreeWidgetItem* item = *it;
        if (!item->text(0).contains(text, Qt::CaseSensitive)) {
            item->setHidden(true);
            continue;
        }
        item->setHidden(false);
        // A match keeps every ancestor visible and open, whatever their own names.
        for (QTreeWidgetItem* up = item; up->parent() != nullptr; up = up->parent()) {
            if (!up->isExpanded())
                up->setExpanded(true);
            up->parent()->setHidden(false);
        }
    }
}

void SelectSymbolsDlg::RemoveSelect(VarParser::VarDes des) {
    const QVector<VarParser::VarDes*> list = VarParser::VarList();
    for (int i = 0; i < list.size(); ++i) {
        const VarParser::VarDes* record = list.at(i);
        if (record->name == des.name && record->address == des.address && record->type == des.type) {
            if (i < m_checkBoxes.size())
                m_checkBoxes.at(i)->setChecked(false);
            return;
        }
    }
}

void SelectSymbolsDlg::accept() {
    const QVector<VarParser::VarDes*> list = VarParser::VarList();
    const int n = qMin(list.size(), m_checkBoxes.size());
    for (int i = 0; i < n; ++i) {
        const bool ticked = m_checkBoxes.at(i)->isChecked();
        if (list.at(i)->selected != ticked)
            list.at(i)->selected = ticked;
    }
    emit SelectedDone();
    QDialog::accept();
}

void SelectSymbolsDlg::reject() {
    TickSelected();
    QDialog::reject();
}

void SelectSymbolsDlg::TickSelected() {
    const QVector<VarParser::VarDes*> list = VarParser::VarList();
    const int n = qMin(list.size(), m_checkBoxes.size());
    for (int i = 0; i < n; ++i) {
        if (m_checkBoxes.at(i)->isChecked() != list.at(i)->selected)
            m_checkBoxes.at(i)->setChecked(list.at(i)->selected);
    }
}
