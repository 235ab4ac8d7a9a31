/** @file LibraryState.h  The library's variables: as just loaded, as a scenario wants them, as a call left them. */
#ifndef LIBRARYSTATE_H
#define LIBRARYSTATE_H

#include <map>
#include <string>

#include "qvtypes.h"

namespace golden {

constexpr char kToken[] = "0123456789abcdef0123456789ABCDEF";  ///< of the session that openSession() makes

/** All variables as in a library that was just loaded. */
void resetLibrary();
/** Puts a session into the record, as opening one would. */
void openSession();
/** Sets one field of the session record. */
void setField(const std::string& name, const std::string& text);
/** Makes one of the library's texts, which it gives back with SMFreeMem, another one. */
void assign(astring*& global, const std::string& text);

/** Everything that the library shows of itself, for the differences that a call makes. */
std::map<std::string, std::string> visibleState();

}  // namespace golden

#endif
