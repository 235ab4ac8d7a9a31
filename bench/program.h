/** @file program.h  What every benchmark's main() is: it reads the command line and tells failures. */
#ifndef PROGRAM_H
#define PROGRAM_H

#include <map>
#include <string>

namespace bench {

/** Pairs of "--name VALUE". */
class Arguments {
public:
    /** @throws std::invalid_argument for a name that no benchmark has */
    Arguments(int argc, char** argv);

    /** Empty when it is not given. */
    std::string word(const char* name) const;
    /** @throws std::invalid_argument when it is no whole number */
    unsigned long number(const char* name, unsigned long otherwise) const;
    /** As many percent of @p rounds as --effort says; one at least. */
    unsigned long effort(unsigned long rounds) const;

private:
    std::map<std::string, std::string> words_;
};

/** The benchmark itself; each program defines its own. @throws std::exception when it fails */
void measure(const Arguments& arguments);

}  // namespace bench

#endif
