#pragma once

#include "LoopbackListener.h"

#include "DebugModule.h"
#include "RiscvDtm.h"

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <thread>

// The JTAG endpoint: openocd's remote_bitbang protocol on 127.0.0.1, one client at a time (a second one
// waits until the first leaves), driving the debug transport module and, behind it, the debug module.
// The module's state outlives a client, as a chip's does when the probe is unplugged.
namespace Sim {

class DebugHart;

// Carries out remote_bitbang requests: '0'..'7' set TCK, TMS and TDI (a rising TCK clocks the TAP), 'R'
// appends TDO ('0' or '1') to replies, 't' and 'u' assert TRST. Blink, sleep, SRST and SWD requests are
// accepted and ignored ("SWDIO read" answers '0'). False at 'Q' (the rest is not looked at).
bool FeedBitbang(RiscvDtm& dtm, bool* tck, const char* data, int size, QByteArray* replies);

class JtagServer {
public:
    explicit JtagServer(DebugHart& hart);
    ~JtagServer();
    JtagServer(const JtagServer&) = delete;
    JtagServer& operator=(const JtagServer&) = delete;

    // Binds and listens; port 0 picks a free one. On failure error says why.
    bool Listen(std::uint16_t port, QString* error) { return m_listener.Listen(port, error); }
    std::uint16_t Port() const { return m_listener.Port(); }
    // Serves clients on a thread of its own until Stop.
    void Start();
    void Stop();

private:
    void Run();
    void Serve(int fd);

    DebugModule m_dm;
    RiscvDtm m_dtm;
    LoopbackListener m_listener;
    std::thread m_thread;
};

} // namespace Sim
