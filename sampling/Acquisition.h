#pragma once

#include "VarParser.h"

#include <QString>
#include <QVector>
#include <cstdint>

// Start and stop of a sampling run: connect, handshake, fill the watch list, start the reader
// thread; and the reverse.

// Where the GDB server listens; 127.0.0.1:3333 unless a tool says otherwise.
void setSamplingTarget(const QString& host, uint16_t port);

// 0 on success; -1 for an empty selection, a variable whose address text is not a 32-bit hexadecimal
// address (a console line names it; nothing is connected), or a failed connection (see
// samplingStartFailure()); or the console print's result when the reader thread could not be created.
int startSampling(const QVector<VarParser::VarDes>& vars);
// Stops and joins the reader thread, ends the server's sampling and closes the connection;
// returns the close result. Returns within about a second whatever state the server is in.
int stopSampling();
bool samplingRunning();

// The failure-text code of the last failed start: 2 when the server could not be reached or
// refused the handshake, 0 otherwise.
int samplingStartFailure();
// The session's end code, left by the reader thread; meaningful once samplingEnded() is true.
int samplingResult();
// True once the reader thread's session has ended by itself (an error or the empty-read limit).
bool samplingEnded();

// True once the reader thread has its frame queue ready and talks to the server.
bool samplingSessionBegun();
// The frame ring's generation (FrameQueue::generation()) that the running or last session's frames are
// pushed in: the reader sets the ring up only after startSampling() returns.
uint64_t samplingGeneration();

// How the running or last session samples: the project's mode (CommonCfg::Mode) decides, and in
// auto a server that refuses high-speed sampling is polled.
enum class SamplingWay { None, Hss, Poll };
SamplingWay samplingWay();
// The session's end for people: what went wrong (naming the variable a refused read was for) and
// what to check. Meaningful once samplingEnded() is true.
QString samplingEndText();

void* readerThreadMain(void* arg);
