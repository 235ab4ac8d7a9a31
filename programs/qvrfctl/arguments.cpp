/** @file arguments.cpp  Hands what a command takes to CLI11. */
#include "arguments.h"

#include <CLI/CLI.hpp>

namespace qvrfctl {
namespace {

/** CLI11's own words for it show the largest number of a double. @return what is wrong with @p value */
std::string fromOne(const std::string& value)
{
    const bool isNumber = value.find_first_not_of("0123456789") == value.npos;
    return !isNumber || value.find_first_not_of('0') == value.npos ? "'" + value + "' is not 1 or more" : "";
}

}  // namespace

Argument& Argument::required()
{
    option_->required();
    return *this;
}

Argument& Argument::showsDefault()
{
    option_->capture_default_str();
    return *this;
}

Argument& Argument::oneOf(const std::vector<std::string>& values)
{
    option_->check(CLI::IsMember(values));
    return *this;
}

Argument& Argument::notWith(const std::string& other)
{
    option_->excludes(other);
    return *this;
}

Argument Arguments::text(const std::string& names, std::string& into, const std::string& about)
{
    return Argument(command_->add_option(names, into, about));
}

Argument Arguments::flag(const std::string& names, bool& into, const std::string& about)
{
    return Argument(command_->add_flag(names, into, about));
}

Argument Arguments::count(const std::string& names, std::uint64_t& into, const std::string& about)
{
    return Argument(command_->add_option(names, into, about)->check(fromOne));
}

Argument Arguments::count(const std::string& names, unsigned& into, const std::string& about)
{
    return Argument(command_->add_option(names, into, about)->check(fromOne));
}

Argument Arguments::texts(const std::string& names, std::vector<std::string>& into, const std::string& about)
{
    // An option takes one each time: the word behind that is another argument's.
    return Argument(command_->add_option(names, into, about)->allow_extra_args(names.front() != '-'));
}

Arguments Arguments::mayBe(const std::string& name, const std::string& about)
{
    command_->require_subcommand(0, 1);
    return Arguments(*command_->add_subcommand(name, about));
}

Arguments Arguments::command(const std::string& name, const std::string& about)
{
    command_->require_subcommand(1);
    return Arguments(*command_->add_subcommand(name, about));
}

bool Arguments::isNamed() const
{
    return command_->parsed();
}

}  // namespace qvrfctl
