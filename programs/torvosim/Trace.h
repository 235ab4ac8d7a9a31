/** @file Trace.h  What went over the wires, a line an exchange; without tokens and passwords. */
#ifndef TORVOSIM_TRACE_H
#define TORVOSIM_TRACE_H

#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace torvosim {

class Trace {
public:
    /** Copies every further line to @p path, or to standard output for "-". @throws std::runtime_error */
    void open(const std::string& path);
    void line(const std::string& text);
    /** The newest @p count lines, oldest first. */
    std::vector<std::string> last(std::size_t count) const;

private:
    struct Close {
        void operator()(std::FILE* file) const noexcept
        {
            if (file != stdout) std::fclose(file);
        }
    };

    mutable std::mutex                mutex_;
    std::deque<std::string>           lines_;
    std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace torvosim

#endif
