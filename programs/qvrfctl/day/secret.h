/** @file secret.h  A password that somebody types, keeps in a file, or lets be made. Wiped when it goes. */
#ifndef QVRFCTL_DAY_SECRET_H
#define QVRFCTL_DAY_SECRET_H

#include <string>

namespace qvrfctl {

class Secret {
public:
    Secret() = default;
    explicit Secret(std::string text) : text_(std::move(text)) {}
    Secret(Secret&& other) noexcept : text_(other.text_) { other.wipe(); }
    Secret& operator=(Secret&&) = delete;
    ~Secret() { wipe(); }

    const std::string& text() const noexcept { return text_; }

private:
    void wipe() noexcept;

    std::string text_;
};

/** Overwrites it. */
void wipe(std::string& text) noexcept;

/** Asks twice on the terminal, without showing it. @throws Failure where there is none, or both differ */
Secret askPassword(const std::string& user);
/** The first line of a file; "-" is standard input. @throws Failure */
Secret passwordFrom(const std::string& file);
/** @p text as JSON writes it, quotes and all. */
std::string quoted(const std::string& text);

}  // namespace qvrfctl

#endif
