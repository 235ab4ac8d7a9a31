/**
 * @file Arguments.h
 * A scenario's words as the arguments of an exported operation, and what the operation wrote as transcript lines:
 * README.md, "Arguments".
 */
#ifndef ARGUMENTS_H
#define ARGUMENTS_H

#include <cstring>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "LibraryCalls.h"
#include "Words.h"
#include "qvrfutil.h"
#include "smsupport.h"

namespace golden {

/** What a call works on, and what comes of it. */
struct Call {
    std::vector<Word>             words;
    std::map<std::string, void*>* handles  = nullptr;
    QVRFUTILHttpCallbackContext*  listener = nullptr;
    QVRFUTILHttpCallbackContext*  deaf     = nullptr;
    std::size_t                   next     = 0;
    std::vector<std::string>      shown;
    std::string                   status = "done";
    long                          number = 0;  // the status, when it is one

    const Word& take()
    {
        if (next == words.size()) throw std::runtime_error("too few words for the operation");
        return words[next++];
    }
    void show(const Word& word, const std::string& text)
    {
        shown.push_back((word.name.empty() ? "" : word.name + " ") + text);
    }
};

inline long numberOf(const std::string& text)
{
    static const std::map<std::string, long> names = {
        {"GET", 0}, {"POST", 1}, {"DELETE", 2}, {"PATCH", 3}, {"null", 0}};
    const auto found = names.find(text);
    return found != names.end() ? found->second : static_cast<long>(std::stoll(text, nullptr, 0));
}

template <class T, class Enable = void>
class Argument;

/** Numbers, also those of enumerations; a character is the word's. */
template <class T>
class Argument<T, std::enable_if_t<std::is_arithmetic_v<T> || std::is_enum_v<T>>> {
public:
    explicit Argument(Call& call) : word_(call.take()) {}
    T get()
    {
        if (std::is_same_v<T, char> || std::is_same_v<T, wchar_t>) return static_cast<T>(word_.value().at(0));
        return static_cast<T>(numberOf(word_.bare()));
    }
    void show(Call&) {}

private:
    const Word& word_;
};

/** Texts and buffers of one character type. */
template <class Character>
class TextArgument {
public:
    explicit TextArgument(Call& call) : word_(call.take())
    {
        if (word_.bare() == "null") return;
        const bool        room = !word_.bare().empty() && word_.bare()[0] == '*';
        const std::size_t size = room ? std::stoul(word_.bare().substr(1)) : word_.value().size() + 1;
        text_.assign(size, static_cast<Character>('#'));
        shown_                   = room;
        const std::string& value = word_.value();
        for (std::size_t i = 0; (!room || word_.quoted) && i < size && i <= value.size(); ++i)
            text_[i] = i < value.size() ? static_cast<Character>(static_cast<unsigned char>(value[i])) : Character{};
        before_ = text_;
    }
    Character* get() { return word_.bare() == "null" ? nullptr : text_.data(); }
    void       show(Call& call)
    {
        if (!shown_ || text_ == before_) return;
        std::string seen;
        for (const Character c : text_) seen += static_cast<char>(c);
        call.show(word_, told(seen));
    }

private:
    /** What was written: a text whose end lies before bytes that were left alone, or all bytes. */
    static std::string told(std::string bytes)
    {
        const std::size_t last = bytes.find_last_not_of('#');
        bytes.resize(last == bytes.npos ? 0 : last + 1);
        const std::size_t length = bytes.find('\0');
        if (length == bytes.npos || bytes.find_first_not_of('\0', length) != bytes.npos)
            return "bytes " + inQuotes(bytes);
        return inQuotes(bytes.substr(0, length)) + (bytes.size() > length + 1 ? "+0" : "");
    }

    const Word&            word_;
    std::vector<Character> text_, before_;
    bool                   shown_ = false;
};

template <class T>
inline constexpr bool isText = std::is_same_v<T, char> || std::is_same_v<T, wchar_t> || std::is_void_v<T>;

template <class T>
using CharacterOf = std::conditional_t<std::is_same_v<T, wchar_t>, wchar_t, char>;

template <class T>
class Argument<T*, std::enable_if_t<isText<std::remove_const_t<T>>>>
    : public TextArgument<CharacterOf<std::remove_const_t<T>>> {
    using TextArgument<CharacterOf<std::remove_const_t<T>>>::TextArgument;
};

/** Variables that receive a number. */
template <class T>
class Argument<T*, std::enable_if_t<std::is_arithmetic_v<T> && !isText<std::remove_const_t<T>>>> {
public:
    explicit Argument(Call& call) : word_(call.take())
    {
        if (word_.bare().size() > 1 && word_.bare()[0] == '&')
            value_ = static_cast<V>(numberOf(word_.bare().substr(1)));
        before_ = value_;
    }
    T*   get() { return word_.bare() == "null" ? nullptr : &value_; }
    void show(Call& call)
    {
        if (value_ != before_) call.show(word_, std::to_string(value_));
    }

private:
    using V = std::remove_const_t<T>;
    const Word& word_;
    V           value_{}, before_{};
};

/** A text that is handed out, or the address of a buffer's address. */
template <>
class Argument<astring**> {
public:
    explicit Argument(Call& call) : word_(call.words.at(call.next)), buffer_(call)
    {
        if (word_.bare() != "null" && word_.bare() != "&") at_ = buffer_.get();
    }
    astring** get() { return word_.bare() == "null" ? nullptr : &at_; }
    void      show(Call& call)
    {
        if (word_.bare() == "null") return;
        if (word_.bare() != "&") return at_ == nullptr ? call.show(word_, "NULL") : buffer_.show(call);
        if (at_ != nullptr) call.show(word_, inQuotes(at_));
        SMFreeMem(at_);
    }

private:
    const Word&        word_;
    TextArgument<char> buffer_;
    astring*           at_ = nullptr;
};

/** A handle of the scenario. */
template <>
class Argument<void**> {
public:
    explicit Argument(Call& call) : word_(call.take())
    {
        if (word_.bare() != "null") handle_ = &(*call.handles)[word_.bare()];
        before_ = handle_ == nullptr ? nullptr : *handle_;
    }
    void** get() { return handle_; }
    void   show(Call& call)
    {
        if (handle_ != nullptr && *handle_ != before_) call.show(word_, *handle_ == nullptr ? "none" : "a handle");
    }

private:
    const Word& word_;
    void**      handle_ = nullptr;
    void*       before_ = nullptr;
};

template <>
class Argument<QVRFUTILHttpCallbackContext*> {
public:
    explicit Argument(Call& call) : call_(call), word_(call.take()) {}
    QVRFUTILHttpCallbackContext* get()
    {
        return word_.bare() == "listener" ? call_.listener : word_.bare() == "deaf" ? call_.deaf : nullptr;
    }
    void show(Call&) {}

private:
    Call&       call_;
    const Word& word_;
};

/** A copy of the session record. */
template <>
class Argument<QVRFUTILSession*> {
public:
    explicit Argument(Call& call) : word_(call.take()) {}
    QVRFUTILSession* get() { return &copy_; }
    void             show(Call& call)
    {
        const bool same = std::memcmp(&copy_, &g_RedfishSession, sizeof copy_) == 0;
        if (same || copy_.SessionID[0] != '\0') call.show(word_, same ? "the record" : "something else");
    }

private:
    const Word&     word_;
    QVRFUTILSession copy_{};
};

inline void keepStatus(Call& call, long value)
{
    call.number = value;
    call.status = std::to_string(value);
}
inline void keepStatus(Call& call, const char* text)
{
    call.status = text == nullptr ? "none" : inQuotes(text);
}
inline void keepStatus(Call& call, const wchar_t* text)
{
    std::string bytes;
    for (; text != nullptr && *text != L'\0'; ++text) bytes += static_cast<char>(*text);
    call.status = inQuotes(bytes);
}

template <class R, class... Parameters>
void invoke(R (*function)(Parameters...), Call& call)
{
    std::tuple<Argument<Parameters>...> arguments{Argument<Parameters>(call)...};
    if (call.next != call.words.size()) throw std::runtime_error("too many words for the operation");
    const auto values = std::apply([](auto&... each) { return std::make_tuple(each.get()...); }, arguments);
    const auto enter  = [&] {
        const rig::Inside inside(rig::Place::caller);
        return std::apply(function, values);
    };
    if constexpr (std::is_void_v<R>) {
        enter();
    } else {
        const R result = enter();
        if constexpr (std::is_pointer_v<R>)
            keepStatus(call, result);
        else
            keepStatus(call, static_cast<long>(result));
    }
    std::apply([&](auto&... each) { (each.show(call), ...); }, arguments);
}

}  // namespace golden

#endif
