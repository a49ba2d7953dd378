#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "support/folder.h"
#include "support/process.h"
#include "tools/rigsim/rig.h"

// A rig on another computer: ser2net there, socat here. For the tool a network that adds 20 ms to a
// round trip is answers that come so much later, which is how it is made.

namespace
{

namespace fs = std::filesystem;

using testing::HasSubstr;

/// Waits for what another program makes. @return false when it has not within 30 s
bool waitFor(const std::function<bool()>& condition)
{
    for (int i = 0; i < 3000; ++i) {
        if (condition()) return true;
        ::usleep(10000);
    }
    return false;
}

/// A TCP port of this computer that nobody listens on now.
uint16_t freePort()
{
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(::bind(listener, any, size) + ::getsockname(listener, any, &size), 0);
    ::close(listener);
    return ntohs(address.sin_port);
}

/// A line of the rig by way of the network.
class DistantLine
{
  public:
    DistantLine(const std::string& path, const std::string& name, const std::string& bitRate)
        : m_link(m_folder / name),
          m_port(freePort()),
          m_server({SER2NET, "-n", "-d", "-u", "-c", configure(path, name, bitRate)}),
          m_client(
              {SOCAT, "pty,link=" + m_link.string() + ",raw,echo=0",
               "tcp:127.0.0.1:" + std::to_string(m_port) + ",nodelay,retry=3000,interval=0.01"})
    {}
    ~DistantLine()
    {
        m_client.signal(SIGTERM);
        m_server.signal(SIGTERM);
    }

    std::string device() const { return m_link; }
    bool waitUntilThere() const
    {
        return waitFor([this] { return fs::exists(m_link); });
    }

  private:
    std::string configure(const std::string& path, const std::string& name,
                          const std::string& bitRate) const
    {
        const std::string file = m_folder / "ser2net.yaml";
        std::ofstream(file) << "connection: &" << name << "\n  accepter: tcp,127.0.0.1," << m_port
                            << "\n  connector: serialdev," << path << "," << bitRate
                            << "n81,local\n";
        return file;
    }

    support::Folder m_folder;
    fs::path m_link;
    uint16_t m_port;
    support::Process m_server;
    support::Process m_client;
};

support::Ended run(const DistantLine& line, const std::string& commands,
                   const std::string& lineDelay)
{
    return support::run({RIGTOOL, "--line-delay", lineDelay, "-t", "device=" + line.device(), "-t",
                         "commands=" + commands});
}

TEST(DistantRig, CameraAndServosWorkWithALineDelay)
{
    const rigsim::Rig rig({{"camera.slow=20", "servos.slow=20"}});
    const DistantLine camera(rig.cameraPath(), "camera", "9600");
    const DistantLine servos(rig.servosPath(), "servos", "57600");
    ASSERT_TRUE(camera.waitUntilThere() && servos.waitUntilThere());

    EXPECT_THAT(run(camera, "pantilt(30,10)", "100").err, HasSubstr("pan=30 tilt=10 zoom=0"));
    const support::Ended ended = run(servos, "dxlsetpos(1,2060);dxlgetword(1,30)", "100");
    EXPECT_THAT(ended.err, testing::EndsWith("ID 1 Addr: 30 value=2060 0x080c\n"));
    EXPECT_THAT(run(servos, "dxlgetbyte(1,3)", "0").err,
                testing::AnyOf(HasSubstr("no answer"), HasSubstr("answers were lost or damaged")))
        << "why the delay is to be told";
}

}  // namespace
