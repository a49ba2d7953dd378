#include <cstdlib>

#include "common/command_line_parser.h"
#include "common/program_declaration.h"
#include "common/properties.h"

QUILL_DEFINE_PROPERTY(std::string, p_name, "name", "none");
QUILL_DEFINE_PROPERTY(int, p_count, "count", 34);

namespace
{

const quill::ProgramOption s_switch("--switch", "A switch");
const quill::ProgramOption s_number("--number", "N", 1000, "A number");

void require(bool condition)
{
    if (!condition) std::abort();
}

std::vector<std::string> argumentsOf(const uint8_t* data, size_t size)
{
    std::vector<std::string> arguments(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == '\n')
            arguments.emplace_back();
        else if (data[i] != 0)  // ends an argument
            arguments.back() += static_cast<char>(data[i]);
    }
    return arguments;
}

}  // namespace

/// Arguments, a line each: every text is understood or named as a mistake, and what was understood
/// fits.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    quill::initializeStaticProperties();
    const auto parsed = quill::parseCommandLine("program", argumentsOf(data, size), true);
    if (const auto* mistake = std::get_if<quill::UsageMistake>(&parsed))
        require(!mistake->culprit.empty() && !mistake->valid.empty());
    if (const auto* understood = std::get_if<quill::CommandLine>(&parsed)) {
        require(understood->remaining.empty());
        for (const auto& [option, number] : understood->options)
            require(number >= 0 && number <= (option == &s_number ? 1000 : 0));
        for (const auto& [node, text] : understood->settings) {
            quill::PropertyValue value;
            value.set<std::string>(text);
            node->setValue(value);
            (void)p_count();  // stops the program when it meets a text that is no number
            if (node == quill::propertyTree()->getNode("name", false).get())
                require(p_name() == text);
        }
    }
    return 0;
}
