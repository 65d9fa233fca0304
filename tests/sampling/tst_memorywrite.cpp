// Writing edited values into target memory: conversion, packet bytes and refused sizes. Writes during
// sampling are the capture tool's and the fault table's.
#include "FakeGdbServer.h"
#include "GdbTransport.h"
#include "MemoryWrite.h"
#include "SamplingTestKit.h"

#include <QtTest>

class MemoryWriteTest : public QObject {
    Q_OBJECT
private slots:
    void init() { resetSamplingState(); }
    void cleanup() { endSampling(); }

    void packetBytes_data();
    void packetBytes();
    void otherSizesRefused();
};

void MemoryWriteTest::packetBytes_data() {
    QTest::addColumn<uint>("address");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("packet");
    QTest::newRow("float takes an integer") << 0x20000010u << "float"
                                            << "2"
                                            << "M20000010,4:02000000";
    QTest::newRow("float 2.5 does not parse") << 0x20000010u << "float"
                                              << "2.5"
                                              << "M20000010,4:00000000";
    QTest::newRow("float 3 is integer bits") << 0x20000010u << "float"
                                             << "3"
                                             << "M20000010,4:03000000";
    QTest::newRow("int -1") << 0x20000000u << "int"
                            << "-1"
                            << "M20000000,4:ffffffff";
    QTest::newRow("int 7.9 truncates") << 0x20000000u << "int"
                                       << "7.9"
                                       << "M20000000,4:07000000";
    QTest::newRow("int -2.9 truncates toward zero") << 0x20000000u << "int"
                                                    << "-2.9"
                                                    << "M20000000,4:feffffff";
    QTest::newRow("char writes four bytes") << 0x20000001u << "char"
                                            << "65"
                                            << "M20000001,4:41000000";
    QTest::newRow("unknown type as float text") << 0x2000abcdu << "double"
                                                << "300.75"
                                                << "M2000abcd,4:2c010000";
    QTest::newRow("beyond the range clamps") << 0x20000000u << "int"
                                             << "1e12"
                                             << "M20000000,4:ffffff7f";
    QTest::newRow("below the range clamps") << 0x20000000u << "int"
                                            << "-1e12"
                                            << "M20000000,4:00000080";
    QTest::newRow("NaN gives 0") << 0x20000000u << "int"
                                 << "nan"
                                 << "M20000000,4:00000000";
    QTest::newRow("address zero") << 0u << "short"
                                  << "1"
                                  << "M0,4:01000000";
    QTest::newRow("high address") << 0x80001234u << "int"
                                  << "16"
                                  << "M80001234,4:10000000";
}

void MemoryWriteTest::packetBytes() {
    QFETCH(uint, address);
    QFETCH(QString, type);
    QFETCH(QString, text);
    QFETCH(QString, packet);
    FakeGdbServer server;
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(writeEditedValue(address, type, text), 0);
    const auto commands = server.commands();
    QCOMPARE(commands.size(), size_t(1));
    QCOMPARE(QString::fromStdString(commands[0]), packet);
}

void MemoryWriteTest::otherSizesRefused() {
    FakeGdbServer server;
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    WriteRequest request;
    request.count = 1;
    for (uint32_t size : {0u, 3u, 8u, 1200u}) {
        request.size[0] = size;
        QCOMPARE(writeMemory(request), -1);
    }
    QCOMPARE(server.countCommands("M"), 0);
}

QTEST_GUILESS_MAIN(MemoryWriteTest)
#include "tst_memorywrite.moc"
