#include "tools/rigsim/ft232r_model.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "devices/gpio/ft232r_codec.h"

namespace rigsim
{

namespace ft232r = quill::ft232r;

namespace
{

constexpr size_t kKeptRequests = 1000;

constexpr uint8_t kFromDevice = 0x80, kOrder = 0x40, kQuestion = 0xC0;  // bmRequestType

constexpr uint8_t kGetStatus = 0x00, kGetDescriptor = 0x06, kGetConfiguration = 0x08;
constexpr uint8_t kReset = 0x00, kSetModemControl = 0x01, kSetFlowControl = 0x02,
                  kSetBitRate = 0x03, kSetData = 0x04, kGetModemStatus = 0x05,
                  kSetEventCharacter = 0x06, kSetErrorCharacter = 0x07, kSetLatency = 0x09,
                  kGetLatency = 0x0A, kSetBitMode = 0x0B, kReadPins = 0x0C, kReadEeprom = 0x90,
                  kWriteEeprom = 0x91;

constexpr uint8_t kSerialMode = 0x00, kBitBangMode = 0x01, kSynchronousMode = 0x04,
                  kCbusMode = 0x20;

constexpr uint16_t kAllInputOutput = 0xAAAA;
constexpr uint16_t kFactoryFunctions = 0x1023;
constexpr uint16_t kOtherChip = 0x1000;

const UsbReply kStall = {EPIPE, {}};

uint16_t cbusFunctions(const UsbIdentity& identity, const Faults& faults)
{
    if (identity.release == kOtherChip) return 0;  // it keeps them elsewhere
    const auto pin = faults.count("cbus.not-io");
    if (!pin) return kAllInputOutput;
    const unsigned mask = 0xFU << 4 * *pin;
    return static_cast<uint16_t>((kAllInputOutput & ~mask) | (kFactoryFunctions & mask));
}

}  // namespace

UsbIdentity adapterIdentity(const Faults& faults, int number)
{
    UsbIdentity identity;
    if (faults.has("cbus.no-serial"))
        identity.serial = "";
    else
        identity.serial = fmt::format("RIG{:05}", number);
    if (!faults.has("cbus.other-chip")) return identity;
    identity.product = 0x6015;
    identity.release = kOtherChip;
    identity.name = "FT230X Basic UART";
    return identity;
}

Ft232rModel::Ft232rModel(const UsbIdentity& identity, const Faults& faults)
    : m_identity(identity),
      m_eeprom(eepromImage(identity, cbusFunctions(identity, faults))),
      m_functions(cbusFunctions(identity, faults)),
      m_refuses(faults.has("cbus.refuse")),
      m_ignoresWrites(faults.has("cbus.ignore-write")),
      m_isCutByWrite(faults.has("cbus.cut-write")),
      m_lastRequest(faults.count("cbus.unplug-after"))
{}

UsbReply Ft232rModel::control(const UsbSetup& setup)
{
    if (isUnplugged()) return {ENODEV, {}};
    if (setup.requestType != kFromDevice) ++m_counts.requests;
    UsbReply reply = kStall;
    if (setup.requestType == kFromDevice) reply = describe(setup);
    if (setup.requestType == kQuestion) reply = tell(setup);
    if (setup.requestType == kOrder) reply = order(setup);
    if (reply.data.size() > setup.length) reply.data.resize(setup.length);
    return reply;
}

int Ft232rModel::act(UsbAction action)
{
    if (isUnplugged()) return ENODEV;
    switch (action) {
        case UsbAction::Claim: ++m_counts.claims; return m_counts.hasDriver ? EBUSY : 0;
        case UsbAction::Release: ++m_counts.releases; break;
        case UsbAction::DetachDriver:
            ++m_counts.driverDetaches;
            return std::exchange(m_counts.hasDriver, false) ? 0 : ENODATA;
        case UsbAction::AttachDriver: return std::exchange(m_counts.hasDriver, true) ? EBUSY : 0;
        case UsbAction::Configure: ++m_counts.configurations; break;
        case UsbAction::Reset:
            ++m_counts.resets;
            m_bitMode = kSerialMode;
            break;
    }
    return 0;
}

bool Ft232rModel::isUnplugged() const
{
    return m_lastRequest && m_counts.requests >= *m_lastRequest;
}

AdapterState Ft232rModel::state() const
{
    AdapterState state = m_counts;
    state.bitMode = m_bitMode;
    state.isPlugged = !isUnplugged();
    for (size_t i = 0; i < state.pins.size(); ++i)
        state.pins[i] = {functionOf(i), isOutput(i), levelOf(i)};
    return state;
}

UsbReply Ft232rModel::describe(const UsbSetup& setup) const
{
    if (setup.request == kGetStatus) return {0, {0, 0}};
    if (setup.request == kGetConfiguration) return {0, {1}};
    if (setup.request != kGetDescriptor) return kStall;
    Bytes descriptor;
    switch (setup.value >> 8) {
        case 1: descriptor = deviceDescriptor(m_identity); break;
        case 2: descriptor = configurationDescriptor(); break;
        case 3: descriptor = stringDescriptor(m_identity, setup.value & 0xFF); break;
        default: break;
    }
    return descriptor.empty() ? kStall : UsbReply{0, descriptor};
}

UsbReply Ft232rModel::tell(const UsbSetup& setup) const
{
    switch (setup.request) {
        case kGetModemStatus: return {0, {0x01, 0x60}};  // no modem line is on, all has been sent
        case kGetLatency: return {0, {static_cast<uint8_t>(m_counts.latencyMs)}};
        case kReadPins: return {0, {pinLevels()}};
        case kReadEeprom: {
            const size_t at = setup.index * size_t{2} % m_eeprom.size();
            return {0, {m_eeprom[at], m_eeprom[at + 1]}};
        }
        default: return kStall;
    }
}

UsbReply Ft232rModel::order(const UsbSetup& setup)
{
    if (setup.length > 0) return kStall;
    switch (setup.request) {
        case kReset:  // of the serial port: the bit mode stays
        case kSetModemControl:
        case kSetFlowControl:
        case kSetBitRate:
        case kSetData:
        case kSetEventCharacter:
        case kSetErrorCharacter: return {};
        case kSetLatency: m_counts.latencyMs = setup.value & 0xFF; return {};
        case kSetBitMode: return setBitMode(setup.value);
        case kWriteEeprom: return writeEeprom(setup);
        default: return kStall;
    }
}

UsbReply Ft232rModel::setBitMode(uint16_t value)
{
    auto& requests = m_counts.bitModeRequests;
    requests.push_back(value);
    if (requests.size() > kKeptRequests) requests.erase(requests.begin());
    const auto mode = static_cast<uint8_t>(value >> 8);
    const auto modes = {kSerialMode, kBitBangMode, kSynchronousMode, kCbusMode};
    const bool isKnown = std::find(modes.begin(), modes.end(), mode) != modes.end();
    if (!isKnown || m_refuses) return kStall;
    m_bitMode = mode;
    m_bitMask = static_cast<uint8_t>(value & 0xFF);
    return {};
}

// The pins keep their functions until the next plug-in.
UsbReply Ft232rModel::writeEeprom(const UsbSetup& setup)
{
    ++m_counts.eepromWrites;
    if (m_isCutByWrite) m_lastRequest = m_counts.requests;
    if (m_ignoresWrites) return {};
    const size_t at = setup.index * size_t{2} % m_eeprom.size();
    m_eeprom[at] = static_cast<uint8_t>(setup.value & 0xFF);
    m_eeprom[at + 1] = static_cast<uint8_t>(setup.value >> 8);
    return {};
}

int Ft232rModel::functionOf(size_t pin) const
{
    return ft232r::cbusFunctionOf(m_functions, static_cast<unsigned int>(pin));
}

bool Ft232rModel::isOutput(size_t pin) const
{
    return m_bitMode == kCbusMode && (m_bitMask >> (4 + pin) & 1) != 0;
}

bool Ft232rModel::levelOf(size_t pin) const
{
    const bool isDriven = functionOf(pin) == ft232r::kIoMode && isOutput(pin);
    return !isDriven || (m_bitMask >> pin & 1) != 0;
}

// Of CBUS0 to CBUS3 in CBUS mode, otherwise of the serial lines, which are all 1 at rest.
uint8_t Ft232rModel::pinLevels() const
{
    if (m_bitMode != kCbusMode) return 0xFF;
    uint8_t levels = 0;
    for (size_t i = 0; i < 4; ++i) levels = static_cast<uint8_t>(levels | levelOf(i) << i);
    return levels;
}

}  // namespace rigsim
