// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <utility>

#include "tools/config/Findings.h"
#include "tools/config/ListChecks.h"
#include "tools/config/PanelRates.h"

namespace KVT {

/** Checks the sections of the parameter group, one function a section. */
class SectionChecks {
  public:
    SectionChecks(Findings& findings, const PanelRates& rates)
        : mFindings(findings), mRates(rates), mLists(findings) {}

    void group(const tinyxml2::XMLElement* group);

  private:
    using XMLElement = tinyxml2::XMLElement;
    struct Row {
        const char* name;
        void (SectionChecks::*check)(const XMLElement* param);
        /** A later section of that name leaves nothing of the earlier one. */
        bool overrides;
    };
    static const Row kRows[];
    using Parameters = std::map<std::string, const XMLElement*>;

    void param(const XMLElement* param);
    void settingSwitch(const XMLElement* param);
    void switchOf(int32_t setting, const XMLElement* element);
    void settingDefaultId(const XMLElement* param);
    void applicationList(const XMLElement* param) { mLists.section(param); }
    void tpPointer(const XMLElement* param);
    void multiApp(const XMLElement* param);
    void composition(const XMLElement* param);
    void slideModel(const XMLElement* param);
    void slideParam(const XMLElement* element, const char* name);
    void partialCompose(const XMLElement* param);

    /** Section whose only content is its own "value". */
    void valueSection(const XMLElement* param);
    /**
     * Section of parameter elements: calls `check(element, name)` for each with a known name, and
     * returns the last of each.
     */
    template <typename Check>
    Parameters paramSection(const XMLElement* param, const char* child,
                            const std::vector<std::string>& names, Check check);
    /**
     * Tells what a section with parameters `given` does to those of the sections before it.
     * @param anew those that have their default again in a section without them
     */
    void repeated(const XMLElement* param, Parameters given, const std::vector<std::string>& anew);

    /** Reports switched features that no section switches on or off. */
    void finishSwitches();

    Findings& mFindings;
    const PanelRates& mRates;
    ListChecks mLists;
    std::map<std::string, const XMLElement*> mSections;  // the last of each name
    std::map<std::string, Parameters> mParameters;       // in force, by section
    std::map<std::pair<int32_t, std::string>, const XMLElement*> mSwitches;
};

}  // namespace KVT
