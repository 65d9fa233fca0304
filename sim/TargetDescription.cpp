#include "TargetDescription.h"

namespace Sim {

namespace {
QByteArray BuildXml() {
    static const char* const integerNames[32] = {
        "zero", "ra", "sp", "gp", "tp", "t0", "t1", "t2", "fp", "s1", "a0",  "a1",  "a2", "a3", "a4", "a5",
        "a6",   "a7", "s2", "s3", "s4", "s5", "s6", "s7", "s8", "s9", "s10", "s11", "t3", "t4", "t5", "t6"};
    QByteArray xml = "<?xml version=\"1.0\"?>\n<!DOCTYPE target SYSTEM \"gdb-target.dtd\">\n"
                     "<target version=\"1.0\">\n<architecture>riscv:rv32</architecture>\n"
                     "<feature name=\"org.gnu.gdb.riscv.cpu\">\n";
    for (int i = 0; i < 32; ++i) {
        const char* type = (i == 1) ? "code_ptr" : (i == 2 || i == 8) ? "data_ptr" : "int";
        xml += QByteArray("<reg name=\"") + integerNames[i] + "\" bitsize=\"32\" type=\"" + type +
               "\" regnum=\"" + QByteArray::number(i) + "\"/>\n";
    }
    xml += "<reg name=\"pc\" bitsize=\"32\" type=\"code_ptr\" regnum=\"32\"/>\n</feature>\n"
           "<feature name=\"org.gnu.gdb.riscv.fpu\">\n";
    for (int i = 0; i < 32; ++i)
        xml += "<reg name=\"f" + QByteArray::number(i) + "\" bitsize=\"32\" type=\"ieee_single\" regnum=\"" +
               QByteArray::number(33 + i) + "\"/>\n";
    xml += "<reg name=\"fflags\" bitsize=\"32\" type=\"int\" regnum=\"65\"/>\n"
           "<reg name=\"frm\" bitsize=\"32\" type=\"int\" regnum=\"66\"/>\n"
           "<reg name=\"fcsr\" bitsize=\"32\" type=\"int\" regnum=\"67\"/>\n"
           "</feature>\n</target>\n";
    return xml;
}
} // namespace

const QByteArray& TargetXml() {
    static const QByteArray xml = BuildXml();
    return xml;
}

} // namespace Sim
