// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace KVT {

/** The command line of a program: with --help and --version. */
class CommandLine : public CLI::App {
  public:
    CommandLine(const std::string& description, const std::string& program)
        : CLI::App(description, program) {
        set_version_flag("--version", program + " " KVT_VERSION);
    }
};

}  // namespace KVT
