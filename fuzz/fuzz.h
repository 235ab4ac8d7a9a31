/** @file fuzz.h  What a fuzzing target is made of: the bytes it is given, what must hold, and its name. */
#ifndef FUZZ_H
#define FUZZ_H

#include <string_view>
#include <vector>

namespace fuzz {

/** The bytes of one run, handed out from the front. */
struct Input {
    std::string_view left;

    std::string_view take(std::size_t most);
    std::string_view line();  ///< up to the next line feed, which goes too
    std::string_view rest() { return take(left.size()); }
    unsigned         byte() { return left.empty() ? 0 : static_cast<unsigned char>(take(1)[0]); }
};

/** A NUL-terminated copy with not a byte to spare, on the heap: a sanitizer sees the first byte that is read behind. */
std::vector<char> text(std::string_view bytes);

/** The path of a file that holds these bytes until the next call. */
char* file(std::string_view bytes);

/** What the BMC answers over IPMI until the next call. */
void answerWith(Input answers);

/** Ends the run as a finding when @p condition does not hold. */
void hold(bool condition, const char* what);

struct Target {
    Target(const char* named, void (*function)(Input)) : name(named), run(function), next(first) { first = this; }
    const char* name;
    void (*run)(Input);
    Target*        next;
    static Target* first;
};

}  // namespace fuzz

/** FUZZ(name) { ... in ... }: a target; its corpus lies in corpus/name. */
#define FUZZ(name)                                 \
    static void         name(fuzz::Input);         \
    static fuzz::Target name##Target(#name, name); \
    static void         name(fuzz::Input in)

#endif
