#include "dxl_bus.h"

#include <algorithm>
#include <utility>

#include "common/interrupt.h"
#include "common/logging.h"

namespace quill::dynamixel
{
namespace
{

constexpr const char* kCategory = "dynamixel";

constexpr int64_t kBitsPerByte = 10;  // start bit, eight data bits, stop bit

/// Longest time that a servo waits before it answers: 254 units of 2 us in kReturnDelay.
constexpr Duration kLongestReturnDelay = microseconds(508);

/// USB transfers and a busy machine delay an answer by up to 3.5 ms, the latency timer of an
/// adapter set to low latency included; a longer timer adds what it is longer.
constexpr Duration kMargin = microseconds(3700);
constexpr Duration kLowLatency = milliseconds(1);

/// For an adapter to take the bytes of a request, which it buffers.
constexpr Duration kLongestSend = milliseconds(100);

/// An answer that has begun by the deadline may come in pieces while a camera loads the USB bus.
constexpr Duration kRestOfAnswer = milliseconds(20);

/// What comes later than this after a request was given up is not expected any more.
constexpr Duration kLongestLateness = milliseconds(100);

/// Of a read: one answer in a hundred is lost on a bad line, not three in a row.
constexpr int kMostRepetitions = 2;

/// Behind an answer, for the one of a second servo: USB transfers and the latency timer.
constexpr Duration kSecondAnswerMargin = milliseconds(2);

/// Into what has come between two exchanges.
constexpr int kMostLooks = 4;

/// A byte or two are noise of the line, for example from switching its direction; more without a
/// valid packet are a damaged answer.
constexpr size_t kMostNoiseBytes = 2;

/// With one of these the servo has not taken what a write brought.
constexpr uint8_t kRefusalBits =
    kAngleLimitError | kRangeError | kChecksumError | kInstructionError;

bool isSilence(const std::optional<Error>& error)
{
    return error && error->kind == ErrorKind::Silence;
}

std::string addressOf(int id, int address)
{
    return "address " + std::to_string(address) + " of ID " + std::to_string(id);
}

}  // namespace

std::optional<Error> DxlBus::open(const std::string& device, int baudNumber)
{
    const auto bitRate = bitRateOf(baudNumber);
    if (!bitRate)
        return Error{device, "set baud number " + std::to_string(baudNumber), 0,
                     "it gives no bit rate", "0..3999999 do; a servo's register 4 holds 0..254"};
    if (auto error = m_line.open(device, *bitRate)) return error;
    m_line.setLowLatency();
    m_bitRate = *bitRate;
    m_memory = BusMemory::of(device);
    m_adapterDelay = std::max(m_line.roundTripAllowance(), kLowLatency) - kLowLatency;
    return std::nullopt;
}

int DxlBus::read(int id, int address, Width width)
{
    const std::string what = "read " + addressOf(id, address);
    const auto packet = readRequest(id, address, width);
    if (!packet) {
        QUILL_LOG(kWarning, kCategory)
            << m_line.path() << ": " << what << ": not sent, out of range (ID 0.." << kLastServoId
            << ", address 0.." << kLastAddress + 1 - width << ")";
        return -1;
    }
    const Request request = {*packet, static_cast<size_t>(width), what};
    const auto held = hold();
    StatusPacket answer;
    auto error = ask(request, &answer);
    if (!error && answer.parameters.empty())
        error = failure(request, ErrorKind::Refused,
                        "the servo refuses: " + errorText(answer.error), "");
    if (error) {
        fail(id, *error);
        return -1;
    }
    m_log.tellAlarms(id, m_line.path() + ": " + what, answer.error);
    m_log.answered(id);
    return decodeValue(answer.parameters);
}

bool DxlBus::write(int id, int address, int value, Width width)
{
    const std::string what = "write " + std::to_string(value) + " to " + addressOf(id, address);
    const auto packet = writeRequest(id, address, value, width);
    if (!packet) {
        QUILL_LOG(kWarning, kCategory)
            << m_line.path() << ": " << what << ": not sent, out of range (ID 0.." << kBroadcastId
            << ", address 0.." << kLastAddress + 1 - width << ", value 0.."
            << (width == kByte ? 0xFF : 0xFFFF) << ")";
        return false;
    }
    if (address <= kId && kId < address + width) m_memory->forgetWhoIsAlone();
    const Request request = {*packet, 0, what};
    const auto held = hold();
    StatusPacket answer;
    // A write is not repeated to be sure of its answer, so late ones must have come before.
    auto error = awaitLateAnswer(request);
    if (!error) error = exchange(request, &answer);
    if (isSilence(error)) error = seekServo(request, &answer);
    if (!error && (answer.error & kRefusalBits) != 0)
        error = failure(request, ErrorKind::Refused, "the servo reports " + errorText(answer.error),
                        "");
    if (error) {
        fail(id, *error);
        return false;
    }
    m_log.tellAlarms(id, m_line.path() + ": " + what, answer.error);
    return true;
}

// A write is not repeated to know more: it may have been taken. A servo with status return level 0
// or 1 answers a ping alone.
std::optional<Error> DxlBus::seekServo(const Request& write, StatusPacket* answer)
{
    const std::string id = std::to_string(write.packet.id);
    const Request ping = {{write.packet.id, kPing, {}}, 0, "ping ID " + id};
    auto error = exchange(ping, answer);
    for (int i = 0; i < kMostRepetitions && isSilence(error); ++i) error = exchange(ping, answer);
    if (isSilence(error))
        return failure(write, ErrorKind::Silence,
                       "no servo with ID " + id + " answers at " + std::to_string(m_bitRate) +
                           " bit/s: not written, or not known",
                       "check power, ID and baud number");
    if (error && error->kind != ErrorKind::Damaged) return error;
    QUILL_LOG(kTrace, kCategory)
        << m_line.path() << ": " << write.what
        << ": no status (a servo with status return level 0 or 1 sends none)";
    return std::nullopt;
}

std::optional<Error> DxlBus::ask(const Request& request, StatusPacket* answer)
{
    // Nothing in an answer tells whether it is the late one to the request before; when no more
    // late ones can come, the servo is asked again. One to this very request is no stranger.
    bool isDoubtful = m_memory->mayComeLate(request.packet.id, request.answerParameters);
    for (int repetitions = 0;; ++repetitions) {
        auto error = exchange(request, answer);
        if (!error && std::exchange(isDoubtful, false)) {
            error = awaitLateAnswer(request);
            if (!error) error = exchange(request, answer);
        }
        if (!error) m_log.countAnswer(repetitions);
        if (!error || repetitions == kMostRepetitions || !isWorthRepeating(*error)) return error;
        QUILL_LOG(kTrace, kCategory) << error->text() << "; it is asked again";
    }
}

bool DxlBus::isWorthRepeating(const Error& error) const
{
    return error.kind == ErrorKind::Damaged ||
           (error.kind == ErrorKind::Silence && !m_silenceExpected);
}

std::optional<Error> DxlBus::exchange(const Request& request, StatusPacket* answer)
{
    heedInterrupt();
    const InterruptDelay wholeExchange;  // a clean-up would speak while the servo still answers
    *answer = StatusPacket();
    const Duration requestTime = timeOnLine(packetBytes(request.packet.parameters.size()));
    const Time start = std::max(Time::now(), m_lineFree);
    if (auto error = send(request, start + requestTime + kLongestSend)) return error;
    // Counted from here: a machine that was too busy to send takes nothing off the servo's time.
    const Time sent = std::max(Time::now(), m_lineFree);
    if (request.packet.id == kBroadcastId) {  // answered by none
        m_lineFree = sent + requestTime;
        return std::nullopt;
    }
    const Time deadline = sent + requestTime + timeOnLine(packetBytes(request.answerParameters)) +
                          kLongestReturnDelay + m_adapterDelay + kMargin;
    bool hasOther = false;
    auto error = awaitAnswer(request, answer, &hasOther, deadline);
    if (error)
        expectLateAnswer(request);
    else
        error = listenForAnother(request, hasOther);
    return error;
}

std::optional<Error> DxlBus::send(const Request& request, Time deadline)
{
    takeStrays();
    const Bytes bytes = encode(request.packet);
    auto error = m_line.write(bytes.data(), bytes.size(), deadline);
    if (!error) return std::nullopt;
    if (error->kind == ErrorKind::NotTaken)
        return failure(request, ErrorKind::NotTaken, "the adapter takes no bytes",
                       "unplug it and plug it in again");
    error->step = request.what;
    return error;
}

// What nobody asked for makes the next answer of its ID one to listen behind. Old as it is, it may
// be of another program.
void DxlBus::takeStrays()
{
    uint8_t buffer[256];
    size_t got = 0;
    for (int looks = 0; looks < kMostLooks; ++looks) {
        if (m_line.readSome(buffer, sizeof buffer, &got, Time())) break;
        m_reader.push(buffer, got);
    }
    while (const auto packet = m_reader.next()) noteStray(*packet);
    m_line.discardInput();  // of a line that never falls silent
    m_reader.reset();
}

void DxlBus::noteStray(const StatusPacket& packet)
{
    if (!m_memory->mayComeLate(packet.id, packet.parameters.size()))
        m_memory->setAlone(packet.id, false);
}

std::optional<Error> DxlBus::listenForAnother(const Request& request, bool hasOther)
{
    const uint8_t id = request.packet.id;
    const bool isSure = m_memory->isAlone(id) && !hasOther;
    const Time until = isSure ? Time()
                              : Time::now() + timeOnLine(packetBytes(kWord)) + kLongestReturnDelay +
                                    m_adapterDelay + kSecondAnswerMargin;
    bool hasLate = false;
    for (bool isOver = isSure;; isOver = Time::now() >= until) {
        while (const auto packet = m_reader.next()) {
            if (packet->id != id)
                noteStray(*packet);
            else if (m_memory->mayComeLate(id, packet->parameters.size()))
                hasLate = true;
            else
                hasOther = true;
        }
        if (isOver) break;
        const auto error = receive(request, until);
        if (error && !isSilence(error)) return error;
    }
    if (isSure && !hasOther) return std::nullopt;
    m_memory->setAlone(id, !hasOther && !hasLate);
    if (hasOther)
        return failure(request, ErrorKind::Ambiguous,
                       "more than one answer: two servos have ID " + std::to_string(id),
                       "leave one on the bus and give it another ID");
    if (hasLate)
        return failure(request, ErrorKind::Damaged, "two answers, one of them late",
                       "check cable and power");
    return std::nullopt;
}

std::optional<Error> DxlBus::awaitAnswer(const Request& request, StatusPacket* answer,
                                         bool* hasOther, Time deadline)
{
    const uint8_t id = request.packet.id;
    bool echoPossible = true;
    for (bool lastLook = false; !lastLook;) {
        const Time until =
            m_reader.isInsidePacket() ? deadline + kRestOfAnswer + m_adapterDelay : deadline;
        lastLook = Time::now() >= until;
        const auto error = receive(request, until);
        if (error && !isSilence(error)) return error;
        while (const auto packet = m_reader.next()) {
            if (packet->id != id) {
                noteStray(*packet);
            } else if (echoPossible && isEcho(*packet, request.packet)) {
                m_lineEchoes = true;
                echoPossible = false;
            } else if (isAnswer(*packet, request)) {
                *answer = *packet;
                return std::nullopt;
            } else {
                *hasOther = *hasOther || !m_memory->mayComeLate(id, packet->parameters.size());
            }
        }
    }
    const std::string rate = " at " + std::to_string(m_bitRate) + " bit/s";
    if (*hasOther || m_reader.leftoverBytes() > kMostNoiseBytes)
        return failure(request, ErrorKind::Damaged, "a damaged answer" + rate,
                       "check the cable, the baud number, and whether two servos have this ID");
    return failure(request, ErrorKind::Silence, "no answer" + rate,
                   "check power, ID and baud number");
}

bool DxlBus::isAnswer(const StatusPacket& packet, const Request& request) const
{
    // A refused read is answered like a write, whose late answer it must not be.
    const bool refusal = packet.error != 0 && packet.parameters.empty();
    return packet.parameters.size() == request.answerParameters ||
           (refusal && !m_memory->mayComeLate(packet.id, 0));
}

std::optional<Error> DxlBus::receive(const Request& request, Time deadline)
{
    uint8_t buffer[256];
    size_t got = 0;
    auto error = m_line.readSome(buffer, sizeof buffer, &got, deadline);
    m_reader.push(buffer, got);
    if (error) error->step = request.what;
    return error;
}

void DxlBus::expectLateAnswer(const Request& request)
{
    const Time until = Time::now() + kLongestLateness + m_adapterDelay;
    m_memory->expectLate(request.packet.id, request.answerParameters, until);
    if (m_lineEchoes)
        m_memory->expectLate(request.packet.id, request.packet.parameters.size(), until);
}

std::optional<Error> DxlBus::awaitLateAnswer(const Request& request)
{
    const uint8_t id = request.packet.id;
    while (m_memory->mayComeLate(id, request.answerParameters)) {
        const auto error = receive(request, m_memory->lateUntil(id, request.answerParameters));
        m_reader.reset();
        if (error && !isSilence(error)) return error;
    }
    return std::nullopt;
}

Duration DxlBus::timeOnLine(size_t bytes) const
{
    return seconds(kBitsPerByte * static_cast<int64_t>(bytes)) / m_bitRate;
}

std::unique_lock<RecursiveMutex> DxlBus::hold() const
{
    return m_lock ? std::unique_lock<RecursiveMutex>(*m_lock) : std::unique_lock<RecursiveMutex>();
}

Error DxlBus::failure(const Request& request, ErrorKind kind, const std::string& reason,
                      const std::string& remedy) const
{
    return {m_line.path(), request.what, 0, reason, remedy, kind};
}

void DxlBus::fail(int id, const Error& error)
{
    m_lineLost = m_lineLost || error.kind == ErrorKind::LineLost;
    m_log.tellFailure(id, error);
}

}  // namespace quill::dynamixel
