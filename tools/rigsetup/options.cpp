#include "tools/rigsetup/options.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <functional>
#include <map>

namespace rigsetup
{
namespace
{

constexpr const char* kSummary = "Sets up the devices of a new pan-tilt-zoom camera rig.";
constexpr const char* kOn = "on";
constexpr const char* kStandby = "standby";

/// What the parser fills and what is made of it when it has.
class Parser
{
  public:
    Parser() : m_app(kSummary, "rigsetup")
    {
        m_app.require_subcommand(1);
        m_app.set_version_flag("--version", "rigsetup " VERSION, "Show the version and exit");
        m_app.footer(
            "Each subcommand has its own --help; man rigsetup tells everything.\n\n"
            "Exit status: 0 done, 1 failed or not agreed to, 2 wrong usage.");
        addIdentify();
        addNames();
        addCbus();
        addCamera();
    }

    std::variant<Options, UsageError, InformationText> parse(
        const std::vector<std::string>& arguments)
    {
        try {
            std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
            m_app.parse(reversed);
        } catch (const CLI::CallForHelp&) {
            return InformationText{helpOfChosen()};
        } catch (const CLI::CallForVersion& version) {
            return InformationText{std::string(version.what()) + "\n"};
        } catch (const CLI::ParseError& error) {
            return usageError(error.what());
        }
        m_finish();
        return m_options;
    }

  private:
    CLI::App* addSubcommand(const std::string& name, const std::string& summary)
    {
        CLI::App* sub = m_app.add_subcommand(name, summary);
        sub->add_flag("--dry-run", m_options.isDryRun,
                      "Tell what would be changed, change nothing");
        sub->add_flag("--yes", m_options.isAgreed, "Change without asking");
        sub->add_flag_callback(
            "-v", [this] { m_options.logLevel = quill::kWire; },
            "Show the bytes on the lines on standard error");
        return sub;
    }

    void addIdentify()
    {
        CLI::App* sub = addSubcommand("identify", "Ask every serial device what it is");
        sub->add_option("--baudnum", m_identify.baudNumber,
                        "Baud number at which servos are asked first, 0 to 252 (34)")
            ->type_name("N")
            ->check(CLI::Range(0, 252).description(""));
        sub->callback([this] { m_finish = [this] { m_options.subcommand = m_identify; }; });
    }

    void addNames()
    {
        CLI::App* sub = addSubcommand("names", "Give the rig's adapters names that stay");
        const struct
        {
            const char* option;
            std::string* path;
            const char* help;
        } ports[] = {
            {"--camera", &m_names.camera, "The camera's line (the one that answers)"},
            {"--servos", &m_names.servos, "The servos' line (the one that answers)"},
            {"--laser", &m_names.laser, "The laser's line (the one without an answer)"},
        };
        for (const auto& port : ports)
            sub->add_option(port.option, *port.path, port.help)->type_name("TTY");
        sub->add_flag("--install", m_names.installs,
                      "Write the rule to a file, not to standard output");
        sub->add_option("--folder", m_names.folder, "Folder of the file (/etc/udev/rules.d)")
            ->type_name("DIR");
        sub->callback([this, sub] {
            if (sub->count("--folder") > 0 && !m_names.installs)
                throw CLI::ValidationError("--folder", "only with --install");
            m_finish = [this] { m_options.subcommand = m_names; };
        });
    }

    void addCbus()
    {
        CLI::App* sub =
            addSubcommand("cbus", "Show CBUS pins of an FT232R, put them into I/O mode");
        sub->add_option("--device", m_cbus.device, "Serial line of the adapter (/dev/ttyUSB0)")
            ->type_name("TTY");
        sub->add_option("--io", m_cbus.ioPins, "Pins for I/O mode: 1,3")
            ->type_name("PINS")
            ->delimiter(',')
            ->check(CLI::Range(0, 3).description(""));
        sub->add_option("--backup", m_cbus.backup, "New file for the content before")
            ->type_name("FILE");
        sub->add_option("--restore", m_cbus.restore, "Write back such a file")->type_name("FILE");
        sub->callback([this] {
            if (!m_cbus.ioPins.empty() && !m_cbus.restore.empty())
                throw CLI::ValidationError("--io", "not together with --restore");
            m_finish = [this] { m_options.subcommand = m_cbus; };
        });
    }

    void addCamera()
    {
        CLI::App* sub = addSubcommand(
            "camera", "Show vendor, model, ROM, power, address and bit rate of a VISCA camera");
        sub->add_option("--device", m_camera.device, "Serial line of the camera (/dev/ttyUSB0)")
            ->type_name("TTY");
        sub->add_option("--power", m_power, "Switch the camera on or to standby")
            ->type_name("on|standby")
            ->check(CLI::IsMember({kOn, kStandby}).description(""));
        sub->callback([this] {
            m_finish = [this] {
                if (!m_power.empty()) m_camera.power = m_power == kOn;
                m_options.subcommand = m_camera;
            };
        });
    }

    std::string helpOfChosen() const
    {
        const auto chosen = m_app.get_subcommands();
        return chosen.empty() ? m_app.help() : chosen.front()->help("rigsetup");
    }

    UsageError usageError(const std::string& culprit) const
    {
        const auto chosen = m_app.get_subcommands();
        const std::string name = chosen.empty() ? "" : " " + chosen.front()->get_name();
        return {fmt::format("rigsetup{0}: {1}\nrigsetup{0} --help shows what is valid\n", name,
                            culprit)};
    }

    CLI::App m_app;
    Options m_options;
    std::function<void()> m_finish;
    IdentifyOptions m_identify;
    NamesOptions m_names;
    CbusOptions m_cbus;
    CameraOptions m_camera;
    std::string m_power;
};

}  // namespace

std::variant<Options, UsageError, InformationText> parseOptions(
    const std::vector<std::string>& arguments)
{
    return Parser().parse(arguments);
}

}  // namespace rigsetup
