/**
 * @file value.h  A piece of JSON: what a BMC sent, or what is going to be shown. Costs nothing to include.
 */
#ifndef QVRFCTL_DAY_VALUE_H
#define QVRFCTL_DAY_VALUE_H

#include <initializer_list>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvrfctl {

/**
 * What is missing is null, and so is all that is looked for in it: a BMC may leave out any member, and none of its
 * members has the kind that a schema names until that was looked at. Copies share what they show.
 */
class Value {
public:
    Value() = default;  ///< null
    Value(const char* text);
    Value(std::string text);
    Value(bool flag);
    Value(int number);
    Value(long long number);
    Value(double number);
    Value(const std::vector<Value>& items);
    Value(std::initializer_list<std::pair<const char*, Value>> members);

    /** Null where @p text is no JSON, or nested deeper than any resource is. */
    static Value parse(std::string_view text);
    static Value object();
    static Value list() { return Value(std::vector<Value>()); }
    static Value texts(const std::vector<std::string>& texts);

    /** A member by its path, "Status.Health", "Links.Chassis.0". Names that have dots themselves are found too. */
    Value operator[](std::string_view path) const;
    /** The first of these members that is not null. */
    Value firstOf(std::initializer_list<const char*> paths) const;

    bool               isNull() const noexcept;
    bool               isNumber() const noexcept;
    bool               isObject() const noexcept;
    bool               isList() const noexcept;
    bool               isTrue() const noexcept;
    bool               isFalse() const noexcept;
    double             number(double otherwise = 0) const noexcept;
    long long          count() const noexcept;                         ///< a number that can be one of things; else 0
    std::string        text(const std::string& otherwise = {}) const;  ///< a number or flag as JSON writes it
    std::vector<Value> items() const;                                  ///< of a list; else none
    /** Of an object, as they came; each by its name costs a look at all. */
    std::vector<std::pair<std::string, Value>> members() const;
    /** "@odata.id", or the text itself, where it is a path that can be asked for; else empty. */
    std::string link() const;
    /** Nothing but a link: the resource has to be read. */
    bool        isReference() const;
    std::string dump() const;

    Value& set(const char* name, const Value& value);
    Value  without(std::string_view name) const;

    const nlohmann::ordered_json& json() const noexcept;

private:
    using Json = nlohmann::ordered_json;
    Value(std::shared_ptr<const Json> document, const Json* at) : document_(std::move(document)), at_(at) {}
    static Value of(Json&& json);

    std::shared_ptr<const Json> document_;
    const Json*                 at_ = nullptr;
};

bool        operator==(const Value& a, const Value& b);
inline bool operator!=(const Value& a, const Value& b)
{
    return !(a == b);
}

/** Whether both are the same word, upper and lower case aside. */
bool isSameWord(std::string_view a, std::string_view b) noexcept;
/** "a, b, c" */
std::string listed(const std::vector<std::string>& words, const char* between = ", ");
/** The texts of a list of them. */
std::vector<std::string> textsOf(const Value& list);
/** The part behind the last '/'. */
std::string lastSegment(const std::string& path);

}  // namespace qvrfctl

#endif
