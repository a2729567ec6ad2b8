// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "common/Dumper.h"

namespace KVT {

/** A dump as "[section]" and "name=value" lines, which people read and programs parse. */
class TextDumper : public Dumper {
  public:
    using Dumper::value;
    void section(const char* name) override;
    void value(const std::string& name, const std::string& value) override;

    const std::string& text() const { return mText; }

  private:
    std::string mText;
};

}  // namespace KVT
