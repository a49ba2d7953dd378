#include "dxl_bus.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

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

/// A servo on a bad line fails and answers by turns, many times a second.
constexpr Duration kTellAgain = seconds(10);

/// A byte or two are noise of the line, for example from switching its direction; more without a
/// valid packet are a damaged answer.
constexpr size_t kMostNoiseBytes = 2;

/// With one of these the servo has not taken what a write brought.
constexpr uint8_t kRefusalBits =
    kAngleLimitError | kRangeError | kChecksumError | kInstructionError;

bool isTimeout(const std::optional<Error>& error)
{
    return error && error->number == ETIMEDOUT;
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
                     "it gives no bit rate", "0..252, the value of the servo's register 4"};
    if (auto error = m_line.open(device, *bitRate)) return error;
    m_line.setLowLatency();
    m_bitRate = *bitRate;
    m_adapterDelay = std::max(m_line.roundTripAllowance(), kLowLatency) - kLowLatency;
    return std::nullopt;
}

int DxlBus::read(int id, int address, Width width)
{
    const std::string what = "read " + addressOf(id, address);
    const auto request = readRequest(id, address, width);
    if (!request) {
        QUILL_LOG(kWarning, kCategory)
            << m_line.path() << ": " << what << ": not sent, out of range (ID 0.." << kLastServoId
            << ", address 0.." << kLastAddress + 1 - width << ")";
        return -1;
    }
    const auto held = hold();
    StatusPacket answer;
    auto error = ask(*request, static_cast<size_t>(width), &answer);
    if (!error && answer.parameters.empty())
        error = Error{"", "", 0, "the servo refuses: " + errorText(answer.error), ""};
    if (error) {
        reportFailure(id, what, *error);
        return -1;
    }
    if (answer.error != m_errorBits[id]) reportErrorBits(what, answer);
    m_errorBits[id] = answer.error;
    forgetOldFailures(id);
    return decodeValue(answer.parameters);
}

bool DxlBus::write(int id, int address, int value, Width width)
{
    const std::string what = "write " + std::to_string(value) + " to " + addressOf(id, address);
    const auto request = writeRequest(id, address, value, width);
    if (!request) {
        QUILL_LOG(kWarning, kCategory)
            << m_line.path() << ": " << what << ": not sent, out of range (ID 0.." << kBroadcastId
            << ", address 0.." << kLastAddress + 1 - width << ", value 0.."
            << (width == kByte ? 0xFF : 0xFFFF) << ")";
        return false;
    }
    const auto held = hold();
    StatusPacket answer;
    // A write is not repeated to be sure of its answer, so late ones must have come before.
    auto error = awaitLateAnswer(id, 0);
    if (!error) error = exchange(*request, 0, &answer);
    if (isTimeout(error)) {
        QUILL_LOG(kTrace, kCategory)
            << m_line.path() << ": " << what
            << ": no status (a servo with status return level 0 or 1 sends none)";
        return true;
    }
    if (error) {
        reportFailure(id, what, *error);
        return false;
    }
    const bool isRefused = (answer.error & kRefusalBits) != 0;
    if (isRefused ? isNews(id, what) : answer.error != m_errorBits[id])
        reportErrorBits(what, answer);
    if (!isRefused) m_errorBits[id] = answer.error;
    return !isRefused;
}

std::optional<Error> DxlBus::ask(const InstructionPacket& request, size_t answerParameters,
                                 StatusPacket* answer)
{
    // Nothing in an answer tells whether it is the late one to the request before; when no more
    // late ones can come, the servo is asked again.
    const bool doubtful = mayComeLate(request.id, answerParameters);
    auto error = exchange(request, answerParameters, answer);
    if (error || !doubtful) return error;
    error = awaitLateAnswer(request.id, answerParameters);
    return error ? error : exchange(request, answerParameters, answer);
}

std::optional<Error> DxlBus::exchange(const InstructionPacket& request, size_t answerParameters,
                                      StatusPacket* answer)
{
    heedInterrupt();
    const InterruptDelay wholeExchange;  // a clean-up would speak while the servo still answers
    *answer = StatusPacket();
    const Duration requestTime = timeOnLine(packetBytes(request.parameters.size()));
    const bool answered = request.id != kBroadcastId;
    const Time start = std::max(Time::now(), m_lineFree);
    if (auto error = send(request, start + requestTime + kLongestSend)) return error;
    // Counted from here: a machine that was too busy to send takes nothing off the servo's time.
    const Time sent = std::max(Time::now(), m_lineFree);
    if (!answered) {
        m_lineFree = sent + requestTime;
        return std::nullopt;
    }
    const Time deadline = sent + requestTime + timeOnLine(packetBytes(answerParameters)) +
                          kLongestReturnDelay + m_adapterDelay + kMargin;
    auto error = awaitAnswer(request, answerParameters, answer, deadline);
    if (error) expectLateAnswer(request, answerParameters);
    return error;
}

std::optional<Error> DxlBus::send(const InstructionPacket& request, Time deadline)
{
    m_line.discardInput();
    m_reader.reset();
    const Bytes bytes = encode(request);
    auto error = m_line.write(bytes.data(), bytes.size(), deadline);
    if (!isTimeout(error)) return error;
    return Error{"", "", EAGAIN, "the adapter takes no bytes", "unplug it and plug it in again"};
}

std::optional<Error> DxlBus::awaitAnswer(const InstructionPacket& request, size_t answerParameters,
                                         StatusPacket* answer, Time deadline)
{
    bool echoPossible = true;
    bool misfit = false;
    for (bool lastLook = false; !lastLook;) {
        const Time until =
            m_reader.isInsidePacket() ? deadline + kRestOfAnswer + m_adapterDelay : deadline;
        lastLook = Time::now() >= until;
        const auto error = receive(until);
        if (error && !isTimeout(error)) return error;
        while (const auto packet = m_reader.next()) {
            if (packet->id != request.id) continue;  // a late answer of another servo
            if (echoPossible && isEcho(*packet, request)) {
                m_lineEchoes = true;
                echoPossible = false;
            } else if (isAnswer(*packet, answerParameters)) {
                *answer = *packet;
                return std::nullopt;
            } else {
                misfit = misfit || !mayComeLate(request.id, packet->parameters.size());
            }
        }
    }
    return noAnswer(misfit || m_reader.leftoverBytes() > kMostNoiseBytes);
}

bool DxlBus::isAnswer(const StatusPacket& packet, size_t answerParameters) const
{
    // A refused read is answered like a write, whose late answer it must not be.
    const bool refusal = packet.error != 0 && packet.parameters.empty();
    return packet.parameters.size() == answerParameters || (refusal && !mayComeLate(packet.id, 0));
}

std::optional<Error> DxlBus::receive(Time deadline)
{
    uint8_t buffer[256];
    size_t got = 0;
    const auto error = m_line.readSome(buffer, sizeof buffer, &got, deadline);
    m_reader.push(buffer, got);
    return error;
}

void DxlBus::expectLateAnswer(const InstructionPacket& request, size_t answerParameters)
{
    const Time until = Time::now() + kLongestLateness + m_adapterDelay;
    m_lateUntil[request.id][answerParameters] = until;
    const size_t echoParameters = request.parameters.size();
    if (m_lineEchoes && echoParameters <= kWord) m_lateUntil[request.id][echoParameters] = until;
}

bool DxlBus::mayComeLate(int id, size_t answerParameters) const
{
    if (id > kLastServoId || answerParameters > kWord) return false;
    return m_lateUntil[static_cast<size_t>(id)][answerParameters] > Time::now();
}

std::optional<Error> DxlBus::awaitLateAnswer(int id, size_t answerParameters)
{
    while (mayComeLate(id, answerParameters)) {
        const auto error = receive(m_lateUntil[static_cast<size_t>(id)][answerParameters]);
        m_reader.reset();
        if (error && !isTimeout(error)) return error;
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

Error DxlBus::noAnswer(bool damaged) const
{
    const std::string rate = " at " + std::to_string(m_bitRate) + " bit/s";
    if (damaged)
        return {"", "", EBADMSG, "a damaged answer" + rate,
                "check the cable, the baud number, and whether two servos have this ID"};
    return {"", "", ETIMEDOUT, "no answer" + rate, "check power, ID and baud number"};
}

bool DxlBus::isNews(int id, const std::string& failure)
{
    return m_told[id].emplace(failure, Time::now()).second;
}

void DxlBus::forgetOldFailures(int id)
{
    auto& told = m_told[id];
    for (auto failure = told.begin(); failure != told.end();)
        failure =
            Time::now() - failure->second < kTellAgain ? std::next(failure) : told.erase(failure);
}

void DxlBus::reportFailure(int id, const std::string& what, Error error)
{
    error.subject = m_line.path();
    error.step = what;
    const bool expected = m_silenceExpected && error.number == ETIMEDOUT;
    const bool told = m_lineLost || (!expected && !isNews(id, what + error.reason));
    m_lineLost = m_lineLost || quill::isLineLost(error);
    QUILL_LOG(expected || told ? kTrace : kWarning, kCategory) << error.text();
}

void DxlBus::reportErrorBits(const std::string& what, const StatusPacket& answer)
{
    if (answer.error == 0) return;
    QUILL_LOG(kWarning, kCategory)
        << m_line.path() << ": " << what << ": the servo reports " << errorText(answer.error);
}

}  // namespace quill::dynamixel
