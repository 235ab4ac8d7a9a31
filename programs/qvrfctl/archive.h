/** @file archive.h  Texts put into one archive that its owner alone can read. */
#ifndef QVRFCTL_ARCHIVE_H
#define QVRFCTL_ARCHIVE_H

#include <string>

#include "descriptor.h"
#include "interrupts.h"

namespace qvrfctl {

/** A directory for the parts, which goes with the object, and the archive made of it. */
class Archive {
public:
    /** @param file  must not be there yet. @throws Failure */
    Archive(std::string file, Interrupts& interrupts);
    /** Removes the directory, and the archive unless it was finished. */
    ~Archive();
    Archive(Archive&&) = delete;

    void add(const std::string& name, const std::string& text);  ///< @throws Failure
    void finish();                                               ///< @throws Failure

private:
    void makeDirectory();
    void remove() noexcept;

    std::string         file_;
    std::string         directory_;
    qvtools::Descriptor out_;
    bool                finished_ = false;
    Interrupts&         interrupts_;
};

}  // namespace qvrfctl

#endif
