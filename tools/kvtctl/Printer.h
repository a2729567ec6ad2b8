// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace KVT::ctl {

/** What standard output is. */
struct Terminal {
    /** No line is longer; 0 where lines have no limit: a file, a pipe. */
    size_t columns = 0;
    bool colour = false;
};

/** Of the label that a line of an answer begins with: "  without it   ". */
inline constexpr size_t kLabelColumns = 15;

/** A line for people. */
struct Line {
    enum Style { kPlain, kHeading, kBad };

    std::string text;
    Style style = kPlain;
    /** Columns before what of it does not fit into one line of the terminal. */
    size_t indent = 0;
};

/** The text in lines of so many columns at most, broken at spaces where there are any. */
std::vector<std::string> Wrapped(const std::string& text, size_t columns, size_t indent);

/** Prints lines as the terminal takes them. They are clean already. */
void Print(std::ostream& out, const Terminal& terminal, const std::vector<Line>& lines);

}  // namespace KVT::ctl
