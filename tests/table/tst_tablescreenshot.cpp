#include "DragableRowsTable.h"
#include "ScreenShot.h"
#include "ValueLineEdit.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QTest>
#include <QVBoxLayout>

namespace {

struct Row {
    const char* name;
    const char* address;
    const char* type;
    const char* value;
};

const Row kRows[] = {
    {"motor_speed", "20000010", "int", "1500"},
    {"set_point", "20000014", "float", "1.25"},
    {"pwm_duty", "20000018", "unsigned short", "512"},
    {"fault_flags", "2000001c", "unsigned char", "0"},
};

bool HasBluePixel(const QImage& image, const QRect& area) {
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (c.blue() > 200 && c.red() < 60 && c.green() < 60)
                return true;
        }
    return false;
}

} // namespace

// Shows a table with a few rows in a real window, one value cell mid-edit, and saves a picture.
class TestTableScreenshot : public QObject {
    Q_OBJECT
private slots:
    void tableMidEdit();
};

void TestTableScreenshot::tableMidEdit() {
    QWidget window;
    window.setWindowTitle("Tidewatch table");
    auto* layout = new QVBoxLayout(&window);
    auto* table = new DragableRowsTable;
    layout->addWidget(table);

    const QStringList titles{"Name", "Address", "Type", "Value", "Y Resolutin", "Y Offset"};
    table->setColumnCount(titles.size());
    table->setHorizontalHeaderLabels(titles);
    table->verticalHeader()->hide();
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->InstallDeleteMenu();
    table->SetLastRowAcceptDrops(false);

    QList<ValueLineEdit*> edits;
    for (const Row& row : kRows) {
        const int r = table->rowCount();
        table->insertRow(r);
        table->setItem(r, 0, new QTableWidgetItem(row.name));
        table->setItem(r, 1, new QTableWidgetItem(row.address));
        table->setItem(r, 2, new QTableWidgetItem(row.type));
        auto* edit = new ValueLineEdit;
        edit->setText(row.value);
        edit->setStyleSheet("QLineEdit{border-width:0;border-style:outset}");
        auto* cell = new QWidget;
        auto* cellLayout = new QHBoxLayout(cell);
        cellLayout->setContentsMargins(0, 0, 0, 0);
        cellLayout->setAlignment(Qt::AlignCenter);
        cellLayout->addWidget(edit);
        table->setCellWidget(r, 3, cell);
        table->setItem(r, 4, new QTableWidgetItem("1"));
        table->setItem(r, 5, new QTableWidgetItem("0"));
        edits << edit;
    }
    table->insertRow(table->rowCount());
    table->setItem(table->rowCount() - 1, 0, new QTableWidgetItem("+"));
    table->resizeColumnsToContents();
    table->horizontalHeader()->setStretchLastSection(true);

    window.resize(640, 220);
    window.show();
    QApplication::setActiveWindow(&window);
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    // The user clicks the second value cell and types a new value without pressing Return yet.
    ValueLineEdit* editing = edits.at(1);
    QTest::mouseClick(editing, Qt::LeftButton);
    QTest::keyClicks(editing, "5");
    QVERIFY(!editing->IsIdle());
    QVERIFY(edits.at(0)->IsIdle());

    const QImage shot = ScreenShot::Save(&window, "table");
    QVERIFY2(!shot.isNull(), qPrintable("no screenshot in " + ScreenShot::Folder()));
    QCOMPARE(shot.size(), window.size() * shot.devicePixelRatio());

    // The blue frame shows on the edited cell only.
    const auto areaOf = [&window](QWidget* w) { return QRect(w->mapTo(&window, QPoint(0, 0)), w->size()); };
    QVERIFY(HasBluePixel(shot, areaOf(editing)));
    QVERIFY(!HasBluePixel(shot, areaOf(edits.at(0))));
    QVERIFY(!HasBluePixel(shot, areaOf(edits.at(2))));
}

QTEST_MAIN(TestTableScreenshot)
#include "tst_tablescreenshot.moc"
