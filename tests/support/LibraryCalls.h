/**
 * @file LibraryCalls.h
 * What the library does to the world around it: a transcript of it, and which of its calls are to fail.
 *
 * Only threads that stand inside the library count: the driver that calls an exported operation enters, and so does a
 * thread that the library starts. Where the stand-ins work for themselves (allocate, compare, print), they pause.
 */
#ifndef LIBRARYCALLS_H
#define LIBRARYCALLS_H

#include <map>
#include <string>
#include <vector>

namespace rig {

enum class Place : char { outside, caller, worker };

/** Where this thread stands, and how often it works for the bench there. */
struct Standing {
    Place place  = Place::outside;
    int   paused = 0;
};
inline thread_local Standing t_standing;

/** While one lives, this thread runs the library's code. */
class Inside {
public:
    explicit Inside(Place place) noexcept { t_standing = {place, 0}; }
    ~Inside() { t_standing = before_; }
    Inside(Inside&&) = delete;

private:
    const Standing before_ = t_standing;
};

/** While one lives, this thread works for the bench, wherever it stands. */
struct Paused {
    Paused() noexcept { ++t_standing.paused; }
    ~Paused() { --t_standing.paused; }
    Paused(Paused&&) = delete;
};

/** Inside and not paused. */
inline bool counting() noexcept
{
    return t_standing.place != Place::outside && t_standing.paused == 0;
}

/** Adds a line to the transcript of this thread's place; a thread outside has none. */
void note(const std::string& line);
/** Takes the lines of a place. */
std::vector<std::string> takeNotes(Place place);

// --- Failures.
void noFailures();                        ///< none from now on; forgets what failed
void failNth(unsigned nth, Place place);  ///< the n-th call of that place's threads that can fail
/** The n-th call of this name from that place, with this errno. */
void failNamed(const std::string& call, unsigned nth, Place place, int error);
/** Asked by each stand-in once a call: whether this one fails. errno is set when it does. */
bool fails(const char* call);
/** The calls that failed, blanks between; empty when so many never came. */
std::string failed();

// --- What the library holds of the C library: memory, lists, handles.
void acquired(const void* what, const char* kind);
void released(const void* what, bool forGood = true);
/** What the caller's thread gave back since this was asked last, in order. */
std::string takeReleases();
/** How much is held now, by kind. */
std::map<std::string, std::size_t> held();

}  // namespace rig

#endif
