/**
 * @file arguments.h  Declares what a command takes. CLI11 parses it; as that takes seconds to compile, few include it.
 */
#ifndef QVRFCTL_ARGUMENTS_H
#define QVRFCTL_ARGUMENTS_H

#include <cstdint>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace qvrfctl {

/** One argument, to say more about it. */
class Argument {
public:
    explicit Argument(CLI::Option* option) : option_(option) {}
    Argument& required();
    /** The help shows what it is when it is not given. */
    Argument& showsDefault();
    Argument& oneOf(const std::vector<std::string>& values);
    Argument& notWith(const std::string& other);

private:
    CLI::Option* option_;
};

/** The arguments of a command, or common to all: options by their names ("-o,--output"), words by a title ("PATH").
 *  What they are read into must live as long as the command line is parsed. */
class Arguments {
public:
    explicit Arguments(CLI::App& command) : command_(&command) {}

    Argument text(const std::string& names, std::string& into, const std::string& about);
    Argument flag(const std::string& names, bool& into, const std::string& about);
    /** From 1 on. */
    Argument count(const std::string& names, std::uint64_t& into, const std::string& about);
    Argument count(const std::string& names, unsigned& into, const std::string& about);

    /** One or more words. */
    Argument texts(const std::string& names, std::vector<std::string>& into, const std::string& about);

    /** A command of the command, one of which may be named. */
    Arguments mayBe(const std::string& name, const std::string& about);
    /** The same, and one of them must be. */
    Arguments command(const std::string& name, const std::string& about);
    bool      isNamed() const;

private:
    CLI::App* command_;
};

}  // namespace qvrfctl

#endif
