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
        /** What a later section of that name does to the earlier one; null: several are usual. */
        const char* repeated;
    };
    static const Row kRows[];

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
    /** Section of parameter elements: calls `check(element, name)` for each with a known name. */
    template <typename Check>
    void paramSection(const XMLElement* param, const char* child,
                      const std::vector<std::string>& names, Check check);

    /** Reports switched features that no section switches on or off. */
    void finishSwitches();

    Findings& mFindings;
    const PanelRates& mRates;
    ListChecks mLists;
    std::map<std::string, const XMLElement*> mSections;
    std::map<std::pair<int32_t, std::string>, const XMLElement*> mSwitches;
    bool mCompositionSwitched = false;
    bool mPartialComposeSwitched = false;
};

}  // namespace KVT
