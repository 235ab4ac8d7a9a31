/** @file Leftovers.h  What the library holds of the world: nothing of it may outlast a case. */
#ifndef LEFTOVERS_H
#define LEFTOVERS_H

#include <map>
#include <string>
#include <vector>

namespace golden {

/** What was held when it was made, and what is held later. */
class Leftovers {
public:
    Leftovers();
    /** A sentence for each kind of which another number is held: memory, handles, lists, locks, descriptors. */
    std::vector<std::string> found() const;

private:
    std::map<std::string, std::size_t> before_;
};

/** The files and directories below these, with their modes. */
std::map<std::string, std::string> filesBelow(const std::vector<std::string>& directories);

}  // namespace golden

#endif
