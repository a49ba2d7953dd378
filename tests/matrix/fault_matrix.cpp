// Every command on a rig with every fault. Whatever a rig does, a run ends in time and by itself,
// says what it could not do, sends nothing that was not ordered and leaves nothing behind.

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <map>
#include <mutex>
#include <random>
#include <regex>
#include <thread>

#include "matrix_run.h"
#include "support/process.h"
#include "tools/rigsim/faults.h"

namespace
{

namespace fs = std::filesystem;

using matrix::Command;
using matrix::Outcome;
using matrix::Run;

constexpr const char* kCamera = "/dev/ttyUSB0";
constexpr const char* kServos = "/dev/ttyUSB1";
constexpr const char* kLaser = "/dev/ttyUSB2";

constexpr const char* kHealthy = "(healthy)";
/// The goal of a servo of the test is where it is, which the test does not foresee.
constexpr const char* kHold = "servos FF FF 0[12] 05 03 1E .. 0. ..";
constexpr int kInterrupts = 10;  ///< of each command, one in each tenth of its time
constexpr int kInterrupted = 130;

// The bounds are those of the waits: 1 s for each answer of a camera, 10 s for a move or a silent
// camera, 120 s for one that never settles, 3 s for a swing, 5 s for each stage of a trial.
const std::vector<Command>& commands()
{
    static const std::vector<Command> table = {
        {"pantiltzoom(100,-20,300)", kCamera, 2, 160},
        {"getpantiltzoom", kCamera, 0, 30},
        {"resetptz", kCamera, 1, 40},
        {"pantilt(100,-20)", kCamera, 1, 150},
        {"dynamixel(2100,1990)", kServos, 2, 30, "", "", kHold},
        {"cbus(1,1)", kServos, 0, 30},
        {"usbsyspath", kServos, 0, 30},
        {"dxldump(34,2)", kServos, 0, 60},
        {"dxlsetpos(1,2100)", kServos, 1, 30},
        {"dxlsetbyte(1,25,1)", kServos, 1, 30},
        {"dxlsetword(2,32,100)", kServos, 1, 30},
        {"dxlgetbyte(1,4)", kServos, 0, 30},
        {"dxlgetword(2,36)", kServos, 0, 30},
        {"dxlprecisiontest(2)", kServos, 10, 60, "Failed to open the servo bus", "", kHold},
        {"laser(1)", kLaser, 1, 30},
        {"kinect", "", 0, 200},
        {std::string("test(") + kCamera + "," + kServos + "," + kLaser + ")", "", 13, 60, "",
         "camera 81 01 06 02 0F 0F (0F 0F 0C 0E 00 00 00 00|00 00 00 00 0F 0F 0C 0E) FF"},
        {"motortest(2000,2100,2000,2100,2)", kServos, 4, 30,
         "Timeout while waiting for|Error reading ID from|Failed to open the servo bus", "", kHold},
    };
    return table;
}

/// The commands of rigtool that the table lacks.
std::string untested()
{
    std::set<std::string> known;
    for (const Command& command : commands()) known.insert(command.name());
    std::istringstream forms(support::run({RIGTOOL, "--list-commands"}).out);
    std::string lacking;
    for (std::string form; std::getline(forms, form);)
        if (known.count(form.substr(0, form.find('('))) == 0) lacking += " " + form;
    return lacking;
}

struct Options
{
    unsigned seed = 1;
    int every = 1;
    std::string only;
    int group = 1;
    int groups = 1;
};

/// The row of the table that the run belongs to.
std::string faultOf(const Run& run)
{
    if (run.interruptAt_ms > 0) return "(interrupted)";
    return run.fault.empty() ? kHealthy : run.fault.substr(0, run.fault.find('='));
}

/// Not a distribution of the standard library: their numbers differ from one to the next.
int drawFrom(std::mt19937* random, int lowest, int highest)
{
    return lowest + static_cast<int>((*random)() % static_cast<unsigned>(highest - lowest + 1));
}

/// A moment, a count or a servo that nobody has chosen, the same ones for each seed.
std::string withValue(const rigsim::FaultKind& kind, int length_ms, std::mt19937* random)
{
    const auto draw = [random](int from, int to) { return drawFrom(random, from, to); };
    const std::string name = kind.name;
    if (kind.fallback && draw(0, 2) == 0) return name;
    switch (kind.value) {
        case rigsim::FaultValue::None: return name;
        case rigsim::FaultValue::Milliseconds: return name + "=" + std::to_string(draw(1, 300));
        case rigsim::FaultValue::Seconds:
            return name + "=" + std::to_string(draw(0, length_ms) / 1000.0).substr(0, 5);
        case rigsim::FaultValue::Count: return name + "=" + std::to_string(draw(1, 20));
        case rigsim::FaultValue::ServoId: return name + "=" + std::to_string(draw(1, 2));
        case rigsim::FaultValue::StatusLevel: return name + "=" + std::to_string(draw(0, 1));
        case rigsim::FaultValue::ReturnDelay: return name + "=" + std::to_string(draw(0, 254));
        case rigsim::FaultValue::CbusPin: return name + "=" + std::to_string(draw(0, 3));
    }
    return name;
}

bool isTold(const Outcome& outcome, const char* level)
{
    return outcome.log.find(std::string(" ") + level + " ") != std::string::npos;
}

bool holds(const std::string& text, const std::string& expression)
{
    return !expression.empty() && std::regex_search(text, std::regex(expression));
}

int expectedStatus(const Run& run, const Outcome& outcome)
{
    if (run.interruptAt_ms > 0 && outcome.status == kInterrupted) return kInterrupted;
    return holds(outcome.log, run.command->failure) ? 1 : 0;
}

bool isOrdered(const Run& run, const Outcome& outcome, const Outcome& healthy,
               const std::string& order)
{
    const bool isCutShort = run.interruptAt_ms > 0 || outcome.status != 0;
    return healthy.orders.count(order) > 0 || holds(order, run.command->otherOrders) ||
           (isCutShort && holds(order, run.command->lastOrders));
}

/// Where the axes are sent, and which servos hold.
nlohmann::json posture(const nlohmann::json& state)
{
    const auto& camera = state["camera"];
    nlohmann::json result = {camera["panGoal"], camera["tiltGoal"], camera["zoomGoal"]};
    for (const auto& servo : state["servos"])
        for (const char* value : {"goal", "torque"}) result.push_back(servo[value]);
    return result;
}

/// What is wrong with the state of the rig after a run.
std::vector<std::string> checkRig(const Run& run, const Outcome& outcome, const Outcome& healthy)
{
    const auto state = nlohmann::json::parse(outcome.state, nullptr, false);
    if (state.is_discarded()) return {"the rig left no state"};
    std::vector<std::string> faults;
    for (const auto& [device, adapter] : state["adapters"].items()) {
        if (adapter["claims"] != adapter["releases"] && adapter["isPlugged"])
            faults.push_back("the adapter of " + device + " is still claimed");
        if (!adapter["hasDriver"] && adapter["isPlugged"])
            faults.push_back("the adapter of " + device + " has lost its driver");
    }
    if (state["kinect"]["isStreaming"] && state["kinect"]["isPlugged"])
        faults.push_back("the Kinect still streams");
    if (run.command->name() != "test") return faults;
    if (state["laser"]["isOn"]) faults.push_back("the laser is still on");
    const bool isBack = posture(state) == posture(nlohmann::json::parse(healthy.state));
    if (outcome.status == kInterrupted && !isBack && !isTold(outcome, "[3]"))
        faults.push_back("the axes are not back: " + posture(state).dump());
    return faults;
}

/// What is wrong with a run.
std::vector<std::string> check(const Run& run, const Outcome& outcome, const Outcome& healthy)
{
    std::vector<std::string> faults = checkRig(run, outcome, healthy);
    const int status = expectedStatus(run, outcome);
    if (outcome.status != status)
        faults.push_back("status " + std::to_string(outcome.status) + ", not " +
                         std::to_string(status));
    for (const char* report : {"ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "runtime error:"})
        if (outcome.log.find(report) != std::string::npos) faults.emplace_back(report);
    if (!outcome.time_ms && status != kInterrupted) faults.emplace_back("it did not end by itself");
    if (outcome.time_ms.value_or(0) > run.command->bound_s * 1000)
        faults.push_back("it took " + std::to_string(*outcome.time_ms) + " ms");
    if (!outcome.leftOpen.empty()) faults.push_back("left open: " + outcome.leftOpen);

    for (const std::string& order : outcome.orders)
        if (!isOrdered(run, outcome, healthy, order)) faults.push_back("nobody ordered " + order);
    if (outcome.status == kInterrupted || isTold(outcome, "[2]") || isTold(outcome, "[3]"))
        return faults;
    if (run.command->name().rfind("dxlget", 0) == 0 && outcome.log != healthy.log)
        faults.emplace_back("it reads what is not there");
    for (const std::string& order : healthy.orders)
        if (outcome.orders.count(order) == 0)
            faults.push_back("nothing is said of an order that did not go out: " + order);
    return faults;
}

/// ".", as on a healthy rig; "w", with a warning; "f", with a failure told; "1", ended with
/// status 1; "i", ended by the interrupt.
char letterOf(const Outcome& outcome)
{
    if (outcome.status == kInterrupted) return 'i';
    if (outcome.status != 0) return '1';
    if (isTold(outcome, "[2]")) return 'f';
    return isTold(outcome, "[3]") ? 'w' : '.';
}

class Matrix
{
  public:
    explicit Matrix(const Options& options) : m_options(options)
    {
        std::string name = (fs::temp_directory_path() / "matrix.XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder " + name);
        m_folder = name;
    }
    ~Matrix() { fs::remove_all(m_folder); }
    Matrix(const Matrix&) = delete;
    Matrix& operator=(const Matrix&) = delete;

    /// @return whether all is well
    bool run()
    {
        for (const Command& command : commands())
            if (isOfGroup(command)) m_runs.push_back({&command, "", 0});
        const size_t healthy = m_runs.size();
        runFrom(0);
        if (m_bad == 0) {  // else there is nothing to compare with
            addFaultyRuns();
            runFrom(healthy);
        }
        std::fputs(table().c_str(), stdout);
        std::printf("%zu of %zu runs, %d with what must not be\n", m_done, m_runs.size(),
                    m_bad.load());
        return m_bad == 0;
    }

  private:
    void addFaultyRuns()
    {
        std::mt19937 random(m_options.seed);
        for (const rigsim::FaultKind& kind : rigsim::faultKinds())
            for (const Command& command : commands())
                addRun({&command, withValue(kind, healthyTime_ms(command), &random), 0});
        for (int i = 0; i < kInterrupts; ++i)
            for (const Command& command : commands()) {
                const int from = 1 + healthyTime_ms(command) * i / kInterrupts;
                const int to = healthyTime_ms(command) * (i + 1) / kInterrupts;
                addRun({&command, "", drawFrom(&random, from, std::max(from, to))});
            }
    }

    /// Commands go in turn to the groups.
    bool isOfGroup(const Command& command) const
    {
        return (&command - commands().data()) % m_options.groups == m_options.group - 1;
    }

    int healthyTime_ms(const Command& command)
    {
        return std::max(1, m_healthy[&command].time_ms.value_or(1000));
    }

    void addRun(const Run& run)
    {
        const std::string name = run.command->text + " " + faultOf(run);
        const bool isNamed = name.find(m_options.only) != std::string::npos;
        const bool isDrawn = isNamed && m_drawn++ % m_options.every == 0;
        if (isDrawn && isOfGroup(*run.command)) m_runs.push_back(run);
    }

    /// Those of the Kinect wait for frames and write the same pictures: one after the other, beside
    /// the others. ctest runs the groups beside each other.
    void runFrom(size_t first)
    {
        std::atomic<size_t> nextOther = first;
        std::atomic<size_t> nextKinect = first;
        const auto work = [this](std::atomic<size_t>* next, bool isKinect) {
            for (size_t i = (*next)++; i < m_runs.size() && m_bad < kEnough; i = (*next)++)
                if (m_runs[i].command->isKinect() == isKinect) runOne(i);
        };
        std::vector<std::thread> workers;
        workers.emplace_back(work, &nextKinect, true);
        const unsigned others = m_options.groups > 1 ? 1 : std::thread::hardware_concurrency();
        for (unsigned i = 0; i < std::max(1U, others); ++i)
            workers.emplace_back(work, &nextOther, false);
        for (std::thread& worker : workers) worker.join();
    }

    Outcome runInFolder(const Run& run, size_t number) const
    {
        const fs::path folder = m_folder / std::to_string(number);
        fs::create_directory(folder);
        const Outcome outcome = matrix::runOnRig(run, folder);
        fs::remove_all(folder);
        return outcome;
    }

    void runOne(size_t number)
    {
        const Run& run = m_runs[number];
        const bool isHealthy = faultOf(run) == kHealthy;
        Outcome outcome = runInFolder(run, number);
        // A machine that is too busy for the frames of a Kinect is no measure for the others.
        const bool mayRepeat = isHealthy && run.command->isKinect();
        for (int attempt = 1; mayRepeat && letterOf(outcome) != '.' && attempt < 3; ++attempt)
            outcome = runInFolder(run, number);

        const std::lock_guard lock(m_mutex);
        std::vector<std::string> faults;
        if (isHealthy) {
            m_healthy[run.command] = outcome;
            if (outcome.orders.size() != static_cast<size_t>(run.command->orders))
                faults.push_back(std::to_string(outcome.orders.size()) + " orders");
            if (letterOf(outcome) != '.') faults.emplace_back("a healthy rig is told to be faulty");
        }
        const auto wrong = check(run, outcome, m_healthy[run.command]);
        faults.insert(faults.end(), wrong.begin(), wrong.end());
        if (!faults.empty()) tell(run, outcome, faults);
        m_letters[{faultOf(run), run.command->name()}] = letterOf(outcome);
        tellProgress();
    }

    void tellProgress()
    {
        const size_t runs = m_runs.size();
        if (++m_done % std::max<size_t>(1, runs / 10) != 0 && m_done != runs) return;
        const auto passed = std::chrono::steady_clock::now() - m_start;
        std::printf("%zu of %zu runs, %lld s\n", m_done, runs,
                    static_cast<long long>(
                        std::chrono::duration_cast<std::chrono::seconds>(passed).count()));
        std::fflush(stdout);
    }

    void tell(const Run& run, const Outcome& outcome, const std::vector<std::string>& faults)
    {
        ++m_bad;
        std::printf("%s\n", matrix::describe(run).c_str());
        for (const std::string& fault : faults) std::printf("  %s\n", fault.c_str());
        std::printf("%s\n", outcome.log.c_str());
        std::fflush(stdout);
    }

    std::string table() const
    {
        std::string text = "| fault |";
        for (const Command& command : commands()) text += " " + command.name() + " |";
        text += "\n|---|";
        for (size_t i = 0; i < commands().size(); ++i) text += ":-:|";
        text += "\n";
        std::string fault = "\n";
        for (const auto& [place, letter] : m_letters) {
            if (place.first != fault) text += rowOf(place.first);
            fault = place.first;
        }
        return text;
    }

    std::string rowOf(const std::string& fault) const
    {
        std::string text = "| " + fault + " |";
        for (const Command& command : commands()) {
            const auto found = m_letters.find({fault, command.name()});
            text += std::string(" ") + (found == m_letters.end() ? ' ' : found->second) + " |";
        }
        return text + "\n";
    }

    /// Bad runs, after which no more are made: each may take the longest time there is.
    static constexpr int kEnough = 5;

    Options m_options;
    fs::path m_folder;
    std::vector<Run> m_runs;
    std::mutex m_mutex;
    std::map<const Command*, Outcome> m_healthy;
    std::map<std::pair<std::string, std::string>, char> m_letters;  ///< by fault and command
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    size_t m_done = 0;
    int m_drawn = 0;
    std::atomic<int> m_bad = 0;
};

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App app("Runs every command of rigtool on a rig with every fault.");
    app.add_option("--seed", options.seed, "of the moments and counts that are drawn (1)");
    app.add_option("--every", options.every, "only each Nth run (1)")->check(CLI::PositiveNumber);
    app.add_option("--only", options.only, "only runs whose command and fault hold this text");
    app.add_option("--group", options.group, "only the commands of this group, from 1 (1)");
    app.add_option("--groups", options.groups, "in how many groups the commands are split (1)")
        ->check(CLI::PositiveNumber);
    CLI11_PARSE(app, argc, argv);
    if (const std::string lacking = untested(); !lacking.empty()) {
        std::printf("the table of commands lacks%s\n", lacking.c_str());
        return 1;
    }
    return Matrix(options).run() ? 0 : 1;
}
