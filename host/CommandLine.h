// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <iosfwd>
#include <optional>
#include <string>

namespace KVT {

/** The command line of a program: with --help and --version, and errors that name the program. */
class CommandLine : public CLI::App {
  public:
    static constexpr int kUsageError = 2;

    CommandLine(const std::string& description, const std::string& program);

    /**
     * Reads the command line, and calls the callbacks of the subcommands that it names.
     *
     * @param out for help and version
     * @param err for "PROGRAM: what is wrong", with the name that was probably meant
     * @return nothing when the program is to go on, else its exit status: 0 or kUsageError
     */
    std::optional<int> read(int argc, const char* const* argv, std::ostream& out,
                            std::ostream& err);

  private:
    std::string faultOf(const CLI::ParseError& error) const;
};

}  // namespace KVT
