// SPDX-License-Identifier: Apache-2.0
// The sections of the configuration file that are handed on: to the compositor, the touch-scroll
// model and the display control.
#include <cstring>
#include <iterator>
#include <string>

#include "common/Log.h"
#include "config/ConfigTables.h"
#include "config/SlideModel.h"
#include "config/XmlElements.h"
#include "config/XmlParser.h"

namespace KVT {

using tinyxml2::XMLElement;

void XmlParser::ParseSfCompositionConfig(const XMLElement* param, ConfigTables& tables) {
    int32_t switchValue = 1;
    int32_t accumTime = 5;
    int32_t accumCount = 20;
    int32_t penaltyTime = 60;
    int32_t* const values[] = {&switchValue, &accumTime, &accumCount, &penaltyTime,
                               &tables.gpuCompositionCountLimit};
    static_assert(std::size(values) == std::size(kSfParamNames));
    ForEachChild(param, "sf_param", [&](const XMLElement* element) {
        const char* name = RequiredName(element);
        for (size_t i = 0; i < std::size(values); ++i) {
            if (strcmp(name, kSfParamNames[i]) == 0) {
                *values[i] = IntegerAttribute(element, "value");
            }
        }
        if (strcmp(name, "switch") == 0) {
            tables.gpuCompositionSwitch = switchValue == 1;
        }
    });
    KVT_LOGI(
        "fpscommon: xml: switch %d, sfAccumTime %d, sfAccumCount %d, appPenaltyTime %d, "
        "appPenaltyCount %d",
        switchValue, accumTime, accumCount, penaltyTime, tables.gpuCompositionCountLimit);
    if (owner != nullptr) {
        owner->onCompositionParams(
            {tables.gpuCompositionSwitch, accumTime, accumCount, penaltyTime});
    }
}

void XmlParser::ParseSlideModelConfig(const XMLElement* param, ConfigTables& tables) {
    SlideModel model;
    ForEachChild(param, "slide_param", [&model](const XMLElement* element) {
        const char* name = RequiredName(element);
        if (strcmp(name, "switch") == 0) {
            model.switchValue = IntegerAttribute(element, "value");
        } else {
            model.set(name, FloatAttribute(element, "value"));
        }
    });
    const std::string text = model.text();
    tables.slideModelParams = text;
    if (owner != nullptr) {
        owner->onSlideModel(text);
    }
}

void XmlParser::ParseParticalComposeThresholdConfig(const XMLElement* param, ConfigTables& tables) {
    int32_t switchValue = 0;
    ForEachChild(param, "cfg_param", [&](const XMLElement* element) {
        const char* name = RequiredName(element);
        const int32_t value = IntegerAttribute(element, "value");
        if (strcmp(name, kComposeParamNames[0]) == 0) {
            switchValue = value;
            tables.particalComposeSwitch = value == 1;
        } else if (strcmp(name, kComposeParamNames[1]) == 0) {
            tables.partialComposeThreshold = value;
        }
    });
    KVT_LOGI("fpscommon: xml: switch %d, particalComposeThreshold %d", switchValue,
             tables.partialComposeThreshold);
}

}  // namespace KVT
