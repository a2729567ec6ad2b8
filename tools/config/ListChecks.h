// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/config/Findings.h"

namespace KVT {

/**
 * Checks the application lists. Package lists of several sections add up, so whether an entry is
 * reachable is known only at the end of the file.
 */
class ListChecks {
  public:
    explicit ListChecks(Findings& findings) : mFindings(findings) {}

    /** One "application_list" section. */
    void section(const tinyxml2::XMLElement* param);
    /** Reports what can never decide. */
    void finish();

  private:
    template <typename Key>
    struct Entry {
        const tinyxml2::XMLElement* element;
        Key key;
    };
    using TypeEntries = std::vector<Entry<int32_t>>;
    using PackageEntries = std::vector<Entry<std::string>>;

    void list(const tinyxml2::XMLElement* list);
    void type(TypeEntries& entries, const tinyxml2::XMLElement* element);
    void package(PackageEntries& entries, const tinyxml2::XMLElement* element);
    void checkTypes();
    void checkPackages(const std::string& first, const std::string& second);

    Findings& mFindings;
    std::map<std::string, TypeEntries> mTypes;  // of the last section
    std::map<std::string, PackageEntries> mPackages;
};

}  // namespace KVT
