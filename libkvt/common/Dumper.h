// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace KVT {

/** "12.345" */
inline std::string SecondsText(int64_t ns) {
    char text[32];
    snprintf(text, sizeof(text), "%.3f", static_cast<double>(ns) / 1e9);
    return text;
}

/** Takes a dump: sections of names with values. Each part of the service dumps itself into one. */
class Dumper {
  public:
    virtual ~Dumper() = default;

    /** Opens a section. */
    virtual void section(const char* name) = 0;
    /** Both may be, or hold, texts of others as they came: the dumper makes them fit to be shown. */
    virtual void value(const std::string& name, const std::string& value) = 0;

    void value(const std::string& name, const char* text) { value(name, std::string(text)); }
    void value(const std::string& name, int64_t number) { value(name, std::to_string(number)); }
    void value(const std::string& name, bool flag) { value(name, flag ? "true" : "false"); }
    void value(const std::string& name, int32_t number) { value(name, int64_t{number}); }
    void value(const std::string& name, uint64_t number) { value(name, std::to_string(number)); }
    /** A duration or point in time, in seconds with milliseconds. */
    void seconds(const std::string& name, int64_t ns) { value(name, SecondsText(ns)); }
};

}  // namespace KVT
