/** @file leftsessions.cpp  The notes: a file a process, locked while it lives. */
#include "leftsessions.h"

#include <dirent.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <memory>

#include "session.h"

namespace qvrfctl {
namespace {

constexpr char        kNotes[]     = "session-";
constexpr std::time_t kLongestIdle = 24 * 3600;  // no BMC keeps an idle session for as long

/** What a file holds. Wiped when it goes: it has a token. */
struct Note {
    QVRFUTILSession session{};
    s32             isNewer = FALSE;
    ~Note() { ::explicit_bzero(this, sizeof *this); }
};

template <std::size_t Size>
void terminate(astring (&text)[Size]) noexcept
{
    text[Size - 1] = '\0';
}

/** The note in @p file, which is locked; false: it holds none. */
bool read(int file, Note& note) noexcept
{
    QVRFUTILSession& session = note.session;
    if (::read(file, &note, sizeof note) != ssize_t{sizeof note}) return false;
    terminate(session.Port), terminate(session.IPAddress), terminate(session.SessionID);
    terminate(session.EncryptedSessionToken), terminate(session.pb64Text), terminate(session.pb64Key);
    terminate(session.UserName), terminate(session.Privilege);
    session.pb64Text_ptr = session.pb64Key_ptr = nullptr;
    return true;
}

bool isOld(int file) noexcept
{
    struct stat about {};
    return ::fstat(file, &about) == 0 && std::time(nullptr) - about.st_mtime > kLongestIdle;
}

/** Calls @p each for the notes of processes that are no more. @p each says whether a note is done with. */
template <class Each>
void forEachLeft(Each each)
{
    const std::string                         place = runDirectory();
    const std::unique_ptr<DIR, int (*)(DIR*)> all(place.empty() ? nullptr : ::opendir(place.c_str()), ::closedir);
    for (const dirent* entry = all ? ::readdir(all.get()) : nullptr; entry != nullptr; entry = ::readdir(all.get())) {
        if (std::strncmp(entry->d_name, kNotes, sizeof kNotes - 1) != 0) continue;
        const std::string path = place + '/' + entry->d_name;
        const OwnFile     file(path, O_RDONLY);
        if (!file || !file.lock()) continue;
        Note note;
        if (read(file.get(), note) ? each(note) || isOld(file.get()) : isOld(file.get())) ::unlink(path.c_str());
    }
}

/** @return whether it was closed; one that the BMC has ended by itself is not there to be closed */
bool closeOnBmc(const Note& note)
{
    const Library library(note.isNewer ? Generation::newer : Generation::older);
    constexpr s32 addressAsItIs = 4;
    std::string   user          = note.session.UserName;
    g_RedfishSession            = note.session;
    return QVRFUTILDeleteSession(user.data(), addressAsItIs) == OXA_SUCCESS;
}

}  // namespace

void SessionNote::write(const QVRFUTILSession& session, bool isNewer) noexcept
try {
    if (session.SessionID == id_) return;
    if (!file_ && !begin()) return;
    Note note;
    note.session = session;
    note.isNewer = isNewer ? TRUE : FALSE;
    if (::pwrite(file_.get(), &note, sizeof note, 0) == ssize_t{sizeof note}) id_ = session.SessionID;
} catch (...) {
    // Memory is out: no note.
}

bool SessionNote::begin()
{
    const std::string place = runDirectory();
    if (place.empty()) return false;
    path_ = place + '/' + kNotes + std::to_string(::getpid()) + '-' + std::to_string(std::time(nullptr));
    file_ = OwnFile(path_, O_RDWR | O_CREAT | O_EXCL);
    return file_ && file_.lock();
}

void SessionNote::remove() noexcept
{
    if (!file_) return;
    ::unlink(path_.c_str());
    file_.close();
    id_.clear();
}

std::vector<std::string> leftSessionIds()
{
    std::vector<std::string> ids;
    forEachLeft([&](const Note& note) {
        ids.emplace_back(note.session.SessionID);
        return false;
    });
    return ids;
}

unsigned closeLeftSessions(const std::string& address, const std::string& port)
{
    unsigned closed = 0;
    forEachLeft([&](const Note& note) {
        if (address != note.session.IPAddress || port != note.session.Port) return false;
        if (closeOnBmc(note)) ++closed;
        return true;
    });
    return closed;
}

}  // namespace qvrfctl
