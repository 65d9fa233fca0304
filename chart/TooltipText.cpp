#include "TooltipText.h"

#include "DisplayMath.h"
#include "RingWindow.h"
#include "SampleValue.h"
#include "WatchList.h"

QString TooltipText(const SampleFrame& frame, const QVector<RowKey>& rows, const QVector<int>& slotOf,
                    const WatchList& watch) {
    QString text = QString("time: %1").arg(RingWindow::ChartTime(frame.time));
    for (int r = 0; r < rows.size() && r < slotOf.size(); ++r) {
        const int slot = slotOf[r];
        if (!rows[r].shown || slot < 0 || slot >= frame.count || slot >= watch.count)
            continue;
        const int32_t code = watch.typeCode[slot];
        text += QString("\n%1: %2").arg(rows[r].name, sampleText(frame.value[slot], code));
        if (watch.scale[slot] != 1.0f || watch.offset[slot] != 0.0f) {
            const double drawn = DisplayMath::ScaledValue(readSample(frame.value[slot], code).toDouble(),
                                                          watch.scale[slot], watch.offset[slot], code);
            // The curve's value to a float's precision, as its resolution is a float.
            text += QString(" (%1)").arg(drawn, 0, 'g', 7);
        }
    }
    return text;
}
