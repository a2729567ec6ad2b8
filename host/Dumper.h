// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace KVT {

/** Builds a dump of sections of "name=value" lines, which people read and programs parse. */
class Dumper {
  public:
    /** Opens a section: "[name]". */
    void section(const char* name);

    void value(const std::string& name, const std::string& value);
    void value(const std::string& name, const char* text) { value(name, std::string(text)); }
    void value(const std::string& name, int64_t number);
    void value(const std::string& name, bool flag) { value(name, flag ? "true" : "false"); }
    void value(const std::string& name, int32_t number) { value(name, int64_t{number}); }
    void value(const std::string& name, uint64_t number) {
        value(name, static_cast<int64_t>(number));
    }
    /** A duration or point in time, in seconds with milliseconds. */
    void seconds(const std::string& name, int64_t ns);

    const std::string& text() const { return mText; }

  private:
    std::string mText;
};

/** "12.345" */
std::string SecondsText(int64_t ns);

}  // namespace KVT
