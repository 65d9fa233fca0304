#include "TimeBase.h"

namespace TimeBase {

QStringList Labels() {
    return {"10us/Div", "20us/Div", "50us/Div", "100us/Div", "200us/Div", "500us/Div", "1ms/Div",   "2ms/Div",
            "5ms/Div",  "10ms/Div", "20ms/Div", "50ms/Div",  "100ms/Div", "200ms/Div", "500ms/Div", "1s/Div",
            "2s/Div",   "5s/Div",   "10s/Div",  "20s/Div",   "50s/Div",   "100s/Div",  "200s/Div"};
}

const QVector<int>& Values() {
    static const QVector<int> values{10,       20,       50,       100,       200,      500,
                                     1000,     2000,     5000,     10000,     20000,    50000,
                                     100000,   200000,   500000,   1000000,   2000000,  5000000,
                                     10000000, 20000000, 50000000, 100000000, 200000000};
    return values;
}

int IndexOfLabel(const QString& label) {
    return Labels().indexOf(label);
}

int IndexOfValue(int microsecondsPerDiv) {
    return Values().indexOf(microsecondsPerDiv);
}

} // namespace TimeBase
