// SPDX-License-Identifier: Apache-2.0
#include "tools/config/ListChecks.h"

#include <cctype>
#include <optional>
#include <unordered_map>

#include "common/Codes.h"
#include "common/LeadingNumber.h"
#include "config/PrefixSet.h"
#include "config/XmlElements.h"
#include "policy/CodeChoice.h"

namespace KVT {

using tinyxml2::XMLElement;

namespace {

bool IsTypeList(const std::string& name) {
    return name == kAppTypes[0].listName || name == kAppTypes[1].listName;
}

/** Whether a package's name could begin like this: dotted parts, each beginning with a letter. */
bool IsPackagePrefix(std::string_view prefix) {
    bool first = true;
    for (const char c : prefix) {
        const auto byte = static_cast<unsigned char>(c);
        if (isalpha(byte) == 0 && (first || (isdigit(byte) == 0 && c != '_' && c != '.'))) {
            return false;
        }
        first = c == '.';
    }
    return true;
}

/** The entry that is kept as this prefix; every package's name begins with the empty one. */
std::string Shown(const std::string& prefix) {
    return prefix.empty() ? "'*'" : Quoted(prefix);
}

}  // namespace

void ListChecks::section(const XMLElement* param) {
    mFindings.onlyAttributes(param, {"name"});
    mFindings.onlyChildren(param, "list");
    bool drops = false;
    for (const auto& [name, entries] : mTypes) {
        if (entries.empty()) {
            continue;
        }
        drops = true;
        mFindings.add(param,
                      "this section drops the list " + Quoted(name) + " " +
                          OnLine(entries.front().element->Parent()->ToElement()) +
                          ": types start anew",
                      "one section with all types");
    }
    if (!drops) {
        mFindings.someChild(param, "list", "section 'application_list' without lists");
    }
    checkTypes();
    ForEachChild(param, "list", [this](const XMLElement* element) { list(element); });
}

void ListChecks::finish() {
    checkTypes();
    checkPackages(kAppPackages[0].listName, kAppPackages[1].listName);
    checkPackages(kGamePackages[0].listName, kGamePackages[1].listName);
}

void ListChecks::list(const XMLElement* list) {
    mFindings.onlyAttributes(list, {"name"});
    const char* name = mFindings.requiredName(list);
    if (name == nullptr) {
        return;
    }
    if (applicationListNames.count(name) == 0) {
        mFindings.add(list, "unknown list " + Quoted(name) + " is ignored",
                      OneOfNames({applicationListNames.begin(), applicationListNames.end()}),
                      "name");
        return;
    }
    const bool types = IsTypeList(name);
    const char* child = types ? "type" : "pkg";
    mFindings.onlyChildren(list, child);
    mFindings.someChild(list, child, "list " + Quoted(name) + " without entries");
    ForEachChild(list, child, [&](const XMLElement* element) {
        mFindings.onlyAttributes(element, {});
        if (types) {
            type(mTypes[name], element);
        } else {
            package(mPackages[name], element);
        }
    });
}

void ListChecks::type(TypeEntries& entries, const XMLElement* element) {
    const char* text = mFindings.requiredText(element);
    if (text == nullptr) {
        return;
    }
    const std::optional<int32_t> number = LeadingNumber(text);
    if (!number.has_value()) {
        mFindings.addFatal(element, "type " + Quoted(text) + " does not begin with a number",
                           "a decimal number");
        return;
    }
    const std::string value = std::to_string(*number);
    if (!IsDecimal(text)) {
        mFindings.add(element, "type " + Quoted(text) + " reads as " + value, "a decimal number");
    }
    if (!IsKnownType(*number)) {
        mFindings.add(element, "no package has type " + value, "from -1 to 36, or 255");
    } else if (*number == kTypeGame) {
        mFindings.add(element, "type " + value + " is that of games, which no type list covers",
                      "an application type, or the game in a game_pkg list");
    }
    entries.push_back({element, *number});
}

void ListChecks::package(PackageEntries& entries, const XMLElement* element) {
    const char* text = mFindings.requiredText(element);
    if (text == nullptr) {
        return;
    }
    const std::string_view whole = text;
    const size_t star = whole.find('*');
    const std::string prefix(whole.substr(0, star));
    if (star != std::string_view::npos && star + 1 < whole.size()) {
        mFindings.add(element, Quoted(whole.substr(star + 1)) + " after '*' is ignored",
                      Quoted(prefix + "*"));
    }
    if (whole.empty()) {
        mFindings.add(element, "an empty text begins every package's name", "a package, or '*'");
    }
    if (!IsPackagePrefix(prefix)) {
        mFindings.add(
            element, "no package's name begins with " + Quoted(prefix),
            "parts of letters, digits and '_', each beginning with a letter, and an optional '*'");
    }
    entries.push_back({element, prefix});
}

void ListChecks::checkTypes() {
    std::unordered_map<int32_t, const XMLElement*> seen;
    for (const ListRule& rule : kAppTypes) {
        for (const auto& [element, type] : mTypes[rule.listName]) {
            const auto [first, isNew] = seen.emplace(type, element);
            if (!isNew) {
                mFindings.add(element,
                              "type " + std::to_string(type) + " is in list " +
                                  Quoted(first->second->Parent()->ToElement()->Attribute("name")) +
                                  " " + OnLine(first->second) + " already, which counts",
                              "a type in one list, once");
            }
        }
    }
    mTypes.clear();
}

void ListChecks::checkPackages(const std::string& first, const std::string& second) {
    PrefixSet sets[2];
    std::unordered_map<std::string, const XMLElement*> places[2];
    const std::string* const names[] = {&first, &second};
    for (size_t i = 0; i < 2; ++i) {
        for (const auto& [element, prefix] : mPackages[*names[i]]) {
            sets[i].insert(prefix);
            places[i].emplace(prefix, element);
        }
    }
    for (size_t i = 0; i < 2; ++i) {
        for (const auto& [element, prefix] : mPackages[*names[i]]) {
            for (size_t above = 0; above <= i; ++above) {
                const std::string* found = sets[above].findPrefixOf(prefix);
                const XMLElement* place = found != nullptr ? places[above].at(*found) : element;
                if (place == element) {
                    continue;
                }
                mFindings.add(element,
                              "package entry " + Shown(prefix) + " never counts: " + Shown(*found) +
                                  " of list " + Quoted(*names[above]) + " " + OnLine(place) +
                                  " covers it",
                              "an entry that no other covers");
                break;
            }
        }
    }
}

}  // namespace KVT
