#include "common/command_line_parser.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>

#include "common/properties.h"
#include "common/text.h"

/// The build record of the program (text form of protocol-buffer messages), where it has one.
extern "C" const char* getBuildInfo() __attribute__((weak));

namespace quill
{
namespace
{

using Settings = std::map<std::string, PropertyNode*>;

/// The nodes that a property was declared for, by path.
Settings declaredSettings()
{
    Settings settings;
    propertyTree()->visitNodes([&settings](const std::string& path, PropertyNode& node) {
        if (!node.defaultValue().isEmpty()) settings[path] = &node;
    });
    return settings;
}

std::vector<std::string> namesOf(const Settings& settings)
{
    std::vector<std::string> names;
    for (const auto& [name, node] : settings) names.push_back(name);
    return names;
}

struct Options
{
    std::vector<std::string> settings;
    int verbose = 0;
    int quiet = 0;
    int logLevel = kDefaultLogLevel;
    int logBreakLevel = kNoBreakLevel;
    bool help = false;
    bool version = false;
};

/// A flag that counts. From 2.4 on CLI11 gives it a default that the help would show ("-v [0]").
void addCounter(CLI::App* app, const std::string& name, int* count, const std::string& help)
{
    app->add_flag(name, *count, help)->default_str("")->force_callback(false);
}

void declareProgramOptions(CLI::App* app)
{
    for (const ProgramOption* option : ProgramOption::all()) {
        if (option->unit().empty())
            app->add_flag(option->name(), option->help());
        else
            app->add_option(option->name(), option->help())
                ->type_name(option->unit())
                ->check(CLI::Range(0, option->highest()).description(""));
    }
}

GivenOptions givenOptions(const CLI::App& app)
{
    GivenOptions given;
    for (const ProgramOption* option : ProgramOption::all()) {
        const CLI::Option& parsed = *app.get_option(option->name());
        if (parsed.count() > 0) given[option] = option->unit().empty() ? 0 : parsed.as<int>();
    }
    return given;
}

void declareOptions(CLI::App* app, Options* options)
{
    app->set_help_flag();
    app->allow_extras();
    app->add_option("-t", options->settings, "Give a setting a value; the last one given stands")
        ->type_name("NAME=VALUE")
        ->expected(1)
        ->take_all()
        ->allow_extra_args(false);
    addCounter(app, "-v", &options->verbose, "Show more of the log, one level each time");
    addCounter(app, "-q", &options->quiet, "Show less of the log, one level each time");
    app->add_option("--log-level", options->logLevel,
                    "Show the log up to this level (default 4): 2 failures, 3 warnings,\n"
                    "4 progress and results, 5 tracing, 6 bytes on the wire")
        ->type_name("N")
        ->check(CLI::Range(0, 6).description(""));
    app->add_option("--log-break-level", options->logBreakLevel,
                    "Stop the program after a record of the formatted form up to this level\n"
                    "(default 0, never); the man page tells which these are")
        ->type_name("N")
        ->check(CLI::Range(0, 6).description(""));
    declareProgramOptions(app);
    app->add_flag("-h,--help", options->help, "Show this help and exit");
    app->add_flag("--version", options->version, "Show the build record and exit");
}

std::string padded(const std::string& text, size_t width)
{
    return text + std::string(width - std::min(width, text.size()) + 2, ' ');
}

std::string settingsHelp(const Settings& settings)
{
    size_t nameWidth = 0;
    size_t typeWidth = 0;
    for (const auto& [name, node] : settings) {
        nameWidth = std::max(nameWidth, name.size());
        typeWidth = std::max(typeWidth, std::strlen(node->defaultValue().type()->typeName()));
    }
    std::string text = "Settings:\n";
    for (const auto& [name, node] : settings) {
        const PropertyValue value = node->defaultValue();
        const std::string shown = value.toString().empty() ? "empty" : value.toString();
        text += "  " + padded(name, nameWidth) + padded(value.type()->typeName(), typeWidth) +
                "(default " + shown + ")\n";
    }
    return text;
}

std::string helpText(const CLI::App& app, const std::string& program, const Settings& settings)
{
    const ProgramDescription* const description = ProgramDescription::ofProgram();
    std::string text = description == nullptr ? "" : description->summary() + "\n\n";
    text += "Usage: " + program + " [OPTIONS]\n\nOptions:\n";
    for (const CLI::Option* option : app.get_options())
        text += CLI::Formatter().make_option(option, false);
    text += "\n" + settingsHelp(settings);
    if (description == nullptr) return text;
    text += "\nExamples:\n";
    for (const auto& example : description->examples()) text += "  " + example + "\n";
    return text + "\n" + description->more() + "\n";
}

UsageMistake strayArgument(const CLI::App& app, const std::string& argument)
{
    if (argument.size() < 2 || argument[0] != '-')
        return {"stray argument '" + argument + "'", "settings are given as -t NAME=VALUE"};
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options())
        names.push_back(option->get_lnames().empty() ? option->get_name()
                                                     : "--" + option->get_lnames().front());
    std::string valid = "valid options: " + names.front();
    for (size_t i = 1; i < names.size(); ++i) valid += ", " + names[i];
    return {"unknown option '" + argument + "': did you mean " + nearestText(argument, names) + "?",
            valid};
}

std::optional<UsageMistake> parseOptions(CLI::App* app, std::vector<std::string> arguments,
                                         bool strict)
{
    std::reverse(arguments.begin(), arguments.end());  // as the library takes them
    try {
        app->parse(arguments);
    } catch (const CLI::ArgumentMismatch& error) {
        return UsageMistake{std::string("option without its value, ") + error.what(),
                            "for example -t device=/dev/ttyUSB1"};
    } catch (const CLI::ParseError& error) {
        return UsageMistake{error.what(), "levels are numbers from 0 to 6, others as --help says"};
    }
    if (strict && app->remaining_size() > 0) return strayArgument(*app, app->remaining().front());
    return std::nullopt;
}

/// Reads one NAME=VALUE; the text must fit the type of the setting.
std::optional<UsageMistake> addSetting(const Settings& settings, const std::string& assignment,
                                       CommandLine* result)
{
    const size_t equals = assignment.find('=');
    if (equals == std::string::npos)
        return UsageMistake{"-t " + assignment + " has no '='",
                            "settings are given as -t NAME=VALUE"};
    const std::string name = assignment.substr(0, equals);
    const std::string text = assignment.substr(equals + 1);

    const auto found = settings.find(name);
    if (found == settings.end()) {
        const auto names = namesOf(settings);
        std::string valid = "valid settings:";
        for (const auto& each : names) valid += " " + each;
        return UsageMistake{
            "unknown setting '" + name + "': did you mean '" + nearestText(name, names) + "'?",
            valid};
    }
    const PropertyValue defaultValue = found->second->defaultValue();
    if (!defaultValue.type()->canConvertToTypeFromString(text))
        return UsageMistake{"setting '" + name + "' cannot read '" + text + "'",
                            std::string("its type is ") + defaultValue.type()->typeName() +
                                ", for example -t " + name + "=" + defaultValue.toString()};
    result->settings.emplace_back(found->second, text);
    return std::nullopt;
}

}  // namespace

std::variant<CommandLine, InformationText, UsageMistake> parseCommandLine(
    const std::string& program, const std::vector<std::string>& arguments, bool strict)
{
    const Settings settings = declaredSettings();
    CLI::App app;
    Options options;
    declareOptions(&app, &options);
    if (const auto mistake = parseOptions(&app, arguments, strict)) return *mistake;
    if (options.help) return InformationText{helpText(app, program, settings)};
    if (options.version)
        return InformationText{getBuildInfo != nullptr ? getBuildInfo() : "no build record\n"};

    CommandLine result;
    result.options = givenOptions(app);
    for (const auto& assignment : options.settings)
        if (const auto mistake = addSetting(settings, assignment, &result)) return *mistake;
    result.logLevel = options.logLevel + options.verbose - options.quiet;
    result.logBreakLevel = options.logBreakLevel;
    if (!strict) result.remaining = app.remaining();
    return result;
}

}  // namespace quill
