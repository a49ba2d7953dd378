#include "tools/rigsim/rig.h"

#include <fmt/format.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <stdexcept>
#include <system_error>

#include "tools/rigsim/bit_rate.h"
#include "tools/rigsim/real_time.h"
#include "tools/rigsim/state_json.h"

namespace rigsim
{
namespace
{

constexpr Duration kSettleTimeout = quill::seconds(1);
constexpr int kFirstUsbNumber = 4;
constexpr Duration kLongestWait = quill::seconds(3600);
const Time kNever(std::numeric_limits<uint64_t>::max());

// Hardware answers on time however busy the computer is. Best effort, both: timers are late by 50
// us (ten bytes at 2 Mbit/s) unless a thread asks for less, and only root may ask for its turn
// before all others.
void keepTimeLikeHardware()
{
    (void)prctl(PR_SET_TIMERSLACK, 1);
    const sched_param priority{1};
    (void)pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority);
}

Bytes toBytes(const UsbSetup& setup)
{
    Bytes bytes = {setup.requestType, setup.request};
    for (const uint16_t word : {setup.value, setup.index, setup.length}) {
        bytes.push_back(static_cast<uint8_t>(word & 0xFF));
        bytes.push_back(static_cast<uint8_t>(word >> 8));
    }
    return bytes;
}

}  // namespace

Rig::Rig(const RigOptions& options)
    : m_faults(options.faults),
      m_clock(options.speed),
      m_kinectClock(options.speed),
      m_kinect(options.faults, m_kinectClock),
      m_trace(options.traceFile),
      m_camera(addDevice("camera", "ttyUSB0", std::make_unique<CameraModel>(options.faults))),
      m_servos(addDevice("servos", "ttyUSB1",
                         std::make_unique<ServoBusModel>(options.servos, options.faults))),
      m_laser(addDevice("laser", "ttyUSB2", std::make_unique<LaserModel>(options.faults)))
{
    m_wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_wakeUp < 0) throw std::system_error(errno, std::generic_category(), "make an eventfd");
    m_thread = std::thread(&Rig::run, this);
}

Rig::~Rig()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
    }
    wake();
    m_thread.join();
    close(m_wakeUp);
}

Rig::Device::Device(const char* name, const char* node, int usbNumber, const Faults& faults,
                    std::unique_ptr<SerialModel> behind)
    : line{name, node, pty.path(), usbNumber, adapterIdentity(faults, usbNumber)},
      chip(line.adapter, faults),
      model(std::move(behind))
{}

template <typename Model>
Rig::Member<Model> Rig::addDevice(const char* name, const char* node, std::unique_ptr<Model> model)
{
    Model* const modelPointer = model.get();
    const int number = kFirstUsbNumber + static_cast<int>(m_devices.size());
    auto device = std::make_unique<Device>(name, node, number, m_faults, std::move(model));
    m_lines.push_back(device->line);
    m_devices.push_back(std::move(device));
    return {m_devices.back().get(), modelPointer};
}

CameraState Rig::cameraState() const
{
    const std::lock_guard lock(m_mutex);
    return lockedCameraState();
}

ServoState Rig::servoState(int id) const
{
    const std::lock_guard lock(m_mutex);
    const auto state = lockedServoState(id);
    if (!state) throw std::out_of_range(fmt::format("no servo of the rig has ID {}", id));
    return *state;
}

LaserState Rig::laserState() const
{
    const std::lock_guard lock(m_mutex);
    return lockedLaserState();
}

AdapterState Rig::adapterState(const std::string& device) const
{
    const std::lock_guard lock(m_mutex);
    return lockedAdapterState(deviceOf(device));
}

UsbReply Rig::transfer(const std::string& device, const UsbSetup& setup)
{
    const std::lock_guard lock(m_mutex);
    Device& owner = deviceOf(device);
    if (!lockedAdapterState(owner).isPlugged) return {ENODEV, {}};
    UsbReply reply = owner.chip.control(setup);
    const std::string name = device + ".usb";
    m_trace.add(m_clock.now(), name, "received", toBytes(setup));
    if (reply.error != 0 || !reply.data.empty())
        m_trace.add(m_clock.now(), name, "sent", reply.data, reply.error == 0 ? "" : "(stall)");
    if (owner.chip.isUnplugged()) wake();
    m_changed.notify_all();
    return reply;
}

int Rig::act(const std::string& device, UsbAction action)
{
    const std::lock_guard lock(m_mutex);
    Device& owner = deviceOf(device);
    return lockedAdapterState(owner).isPlugged ? owner.chip.act(action) : ENODEV;
}

void Rig::addPath(const std::string& device, const std::filesystem::path& path)
{
    const std::lock_guard lock(m_mutex);
    deviceOf(device).pty.addName(path);
}

void Rig::removePath(const std::string& device, const std::filesystem::path& path)
{
    const std::lock_guard lock(m_mutex);
    deviceOf(device).pty.removeName(path);
}

std::vector<Bytes> Rig::cameraPackets() const
{
    const std::lock_guard lock(m_mutex);
    return m_camera.model->packets();
}

std::vector<Bytes> Rig::servoPackets() const
{
    const std::lock_guard lock(m_mutex);
    return m_servos.model->packets();
}

std::vector<Bytes> Rig::laserPackets() const
{
    const std::lock_guard lock(m_mutex);
    return m_laser.model->packets();
}

CameraState Rig::lockedCameraState() const
{
    CameraState state = m_camera.model->state(m_clock.now());
    state.isPlugged = m_camera.device->pty.isPlugged();
    return state;
}

std::vector<ServoState> Rig::lockedServoStates() const
{
    std::vector<ServoState> states = m_servos.model->states(m_clock.now());
    for (ServoState& state : states) state.isPlugged = m_servos.device->pty.isPlugged();
    return states;
}

std::optional<ServoState> Rig::lockedServoState(int id) const
{
    const std::vector<ServoState> states = lockedServoStates();
    const auto state =
        std::find_if(states.begin(), states.end(), [&](const auto& s) { return s.id == id; });
    return state == states.end() ? std::nullopt : std::make_optional(*state);
}

LaserState Rig::lockedLaserState() const
{
    LaserState state = m_laser.model->state(m_clock.now());
    state.isPlugged = m_laser.device->pty.isPlugged();
    state.isOn = state.isOn && state.isPlugged;
    return state;
}

AdapterState Rig::lockedAdapterState(const Device& device) const
{
    AdapterState state = device.chip.state();
    state.isPlugged =
        state.isPlugged && device.pty.isPlugged() && !device.model->isUnplugged(m_clock.now());
    return state;
}

Rig::Device& Rig::deviceOf(const std::string& name) const
{
    const auto found = std::find_if(m_devices.begin(), m_devices.end(), [&](const auto& device) {
        return device->line.device == name;
    });
    if (found == m_devices.end()) throw std::out_of_range("no line of the rig has a " + name);
    return **found;
}

// The descriptors belong to the thread that polls them: closed by another one, they would stay open
// in the kernel until its poll() ends.
void Rig::unplug(Device* device)
{
    std::unique_lock lock(m_mutex);
    device->isPulled = true;
    wake();
    m_changed.wait(lock, [&] { return !device->pty.isPlugged(); });
}

bool Rig::waitForCamera(const std::function<bool(const CameraState&)>& condition,
                        Duration timeout) const
{
    return waitFor([&] { return condition(lockedCameraState()); }, timeout);
}

bool Rig::waitForServo(int id, const std::function<bool(const ServoState&)>& condition,
                       Duration timeout) const
{
    const auto isFulfilled = [&] {
        const auto state = lockedServoState(id);
        return state && condition(*state);
    };
    return waitFor(isFulfilled, timeout);
}

bool Rig::waitForLaser(const std::function<bool(const LaserState&)>& condition,
                       Duration timeout) const
{
    return waitFor([&] { return condition(lockedLaserState()); }, timeout);
}

bool Rig::waitFor(const std::function<bool()>& condition, Duration timeout) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, toChrono(timeout), condition);
}

void Rig::settle() const
{
    const auto isQuiet = [](const auto& device) {
        return !device->pty.isPlugged() ||
               (!device->pty.hasInput() && !device->model->isReceiving());
    };
    (void)waitFor([&] { return std::all_of(m_devices.begin(), m_devices.end(), isQuiet); },
                  kSettleTimeout);
    m_kinect.settle();
}

std::string Rig::stateJson() const
{
    const std::lock_guard lock(m_mutex);
    std::vector<std::pair<std::string, AdapterState>> adapters;
    for (const auto& device : m_devices)
        adapters.emplace_back(device->line.device, lockedAdapterState(*device));
    return rigsim::stateJson({m_clock.now(), lockedCameraState(), lockedServoStates(),
                              lockedLaserState(), adapters, m_kinect.state()});
}

void Rig::run()
{
    keepTimeLikeHardware();
    try {
        while (runDevices()) waitForWork();
    } catch (const std::exception& error) {
        fmt::print(stderr, "rigsim: the simulated devices have stopped: {}\n", error.what());
        const std::lock_guard lock(m_mutex);
        for (const auto& device : m_devices) device->pty.unplug();
        m_changed.notify_all();
    }
}

// Does what is due now. False when the rig is to end.
bool Rig::runDevices()
{
    const std::lock_guard lock(m_mutex);
    // First: what a program has written before it waits is there then.
    m_clockServer.takeRequests(m_clock.now());
    m_clock.hold(m_clockServer.hasPrograms());
    runEveryDevice();
    shareClock();
    m_changed.notify_all();
    return !m_isEnding;
}

void Rig::runEveryDevice()
{
    for (const auto& device : m_devices)
        if (device->pty.isPlugged()) runDevice(device.get());
}

// Programs that share the clock wait and nothing is left to do now: it goes on to what comes next.
void Rig::shareClock()
{
    const auto end = m_clockServer.earliestEnd();
    if (!end) return;
    const auto next = nextEvent();
    if (!next && *end == kNever) return;
    m_clock.advance(next ? std::min(*next, *end) : *end);
    runEveryDevice();
    m_clockServer.answer(m_clock.now());
}

bool Rig::takesMore(const Device& device) const
{
    return device.model->readyAt() <= m_clock.now();
}

// Of all devices.
std::optional<Time> Rig::nextEvent() const
{
    std::optional<Time> first;
    for (const auto& device : m_devices) {
        if (!device->pty.isPlugged()) continue;
        first = earlier(first, device->model->nextEvent());
        if (!takesMore(*device)) first = earlier(first, device->model->readyAt());
    }
    return first;
}

void Rig::runDevice(Device* device)
{
    const Time now = m_clock.now();
    device->pty.heedClosings();
    if (takesMore(*device)) {
        const Bytes bytes = device->pty.read();
        if (!bytes.empty()) receive(device, bytes, now);
    }
    for (const Output& output : device->model->takeOutput(now)) send(device, output);
    const bool isPulled = device->model->isUnplugged(now) || device->chip.isUnplugged();
    if (isPulled || device->isPulled) device->pty.unplug();
}

void Rig::receive(Device* device, const Bytes& bytes, Time now)
{
    const unsigned bitRate = device->pty.bitRate();
    const bool isClear = device->model->receive(bytes, bitRate, now);
    const auto remark = isClear ? "" : fmt::format(" (not understood at {} bit/s)", bitRate);
    m_trace.add(now, device->line.device, "received", bytes, remark);
}

void Rig::send(Device* device, const Output& output)
{
    const unsigned bitRate = device->pty.bitRate();
    const bool isSameRate = output.bitRate == 0 || bitRate == 0;
    const Bytes bytes = isSameRate ? output.bytes : asHeard(output.bytes, output.bitRate, bitRate);
    const size_t lost = bytes.size() - device->pty.write(bytes);
    std::string remark = lost == 0 ? "" : fmt::format(" (last {} lost: nobody reads)", lost);
    if (bytes != output.bytes) remark += fmt::format(" (garbled at {} bit/s)", bitRate);
    m_trace.add(output.at, device->line.device, "sent", output.bytes, remark);
}

void Rig::waitForWork()
{
    std::vector<pollfd> polled = {{m_wakeUp, POLLIN, 0}};
    Duration wait = kLongestWait;
    for (const auto& device : m_devices) {
        if (!device->pty.isPlugged()) continue;
        polled.push_back({device->pty.closingsDescriptor(), POLLIN, 0});
        if (takesMore(*device)) polled.push_back({device->pty.descriptor(), POLLIN, 0});
    }
    m_clockServer.addDescriptors(&polled);
    if (m_clockServer.hasPrograms())
        wait = ClockServer::kLongestWork;
    else if (const auto next = nextEvent())
        wait = std::min(wait, m_clock.realTimeUntil(*next));
    const timespec timeout = quill::toTimespec(wait);
    if (ppoll(polled.data(), polled.size(), &timeout, nullptr) < 0 && errno != EINTR)
        throw std::system_error(errno, std::generic_category(), "poll the lines");
    uint64_t count = 0;
    while (::read(m_wakeUp, &count, sizeof count) > 0) continue;
}

void Rig::wake() const
{
    // Can only fail when it has been woken 2^64 times and has not run.
    (void)eventfd_write(m_wakeUp, 1);
}

}  // namespace rigsim
