/** @file SecureCompatCanvas.h  A destination painted with '#', on which every written element shows. */
#ifndef SECURECOMPATCANVAS_H
#define SECURECOMPATCANVAS_H

#include <algorithm>
#include <string>

namespace qvrf::test {

/** The names and sizes that a test gives lie inside; what is painted around and behind them must survive. */
template <class Char>
class Canvas {
public:
    using Text = std::basic_string<Char>;

    explicit Canvas(const Text& start = {}) : cells_(around(start)) {}

    Char* at() { return cells_.data() + kBefore; }

    /** The whole canvas when exactly @p written stands at the start and all else is untouched. */
    static Text around(const Text& written)
    {
        Text cells(kBefore + kRoom, Char('#'));
        std::copy(written.begin(), written.end(), cells.begin() + kBefore);
        return cells;
    }
    const Text& cells() const { return cells_; }

private:
    static constexpr std::size_t kBefore = 8;
    static constexpr std::size_t kRoom   = 56;

    Text cells_;
};

}  // namespace qvrf::test

#define EXPECT_WRITTEN(canvas, text) EXPECT_EQ((canvas).cells(), (canvas).around(text))

#endif
