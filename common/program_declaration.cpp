#include "common/program_declaration.h"

#include <utility>

namespace quill
{
namespace
{

// In functions: declarations at namespace scope of other files are made in no known order.
const ProgramDescription*& description()
{
    static const ProgramDescription* theDescription = nullptr;
    return theDescription;
}

std::vector<const ProgramOption*>& options()
{
    static std::vector<const ProgramOption*> theOptions;
    return theOptions;
}

GivenOptions& givenOptions()
{
    static GivenOptions theGiven;
    return theGiven;
}

}  // namespace

ProgramDescription::ProgramDescription(std::string summary, std::vector<std::string> examples,
                                       std::string more)
    : m_summary(std::move(summary)), m_examples(std::move(examples)), m_more(std::move(more))
{
    description() = this;
}

const ProgramDescription* ProgramDescription::ofProgram()
{
    return description();
}

ProgramOption::ProgramOption(std::string name, std::string help)
    : ProgramOption(std::move(name), "", 0, std::move(help))
{}

ProgramOption::ProgramOption(std::string name, std::string unit, int highest, std::string help)
    : m_name(std::move(name)), m_help(std::move(help)), m_unit(std::move(unit)), m_highest(highest)
{
    options().push_back(this);
}

bool ProgramOption::isGiven() const
{
    return givenOptions().count(this) > 0;
}

int ProgramOption::number() const
{
    const auto found = givenOptions().find(this);
    return found == givenOptions().end() ? 0 : found->second;
}

const std::vector<const ProgramOption*>& ProgramOption::all()
{
    return options();
}

void setGivenOptions(GivenOptions given)
{
    givenOptions() = std::move(given);
}

}  // namespace quill
