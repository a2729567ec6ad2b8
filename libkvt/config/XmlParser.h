// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <tinyxml2.h>

#include "config/ConfigOwner.h"

namespace KVT {

/**
 * Reads the configuration file into PolicyConfig::tables. Start-up only, one thread.
 *
 * A file that is missing or no XML leaves the built-in values; unknown names are ignored and codes
 * out of range become 0. A file whose structure is broken (an element without its name or text, an
 * application type that is no number) ends the process: see Fatal.h.
 */
class XmlParser {
  public:
    XmlParser() = delete;

    /** One section of the parameter group, a "Param" element of that name. */
    struct Section {
        const char* name;
        void (*parse)(const tinyxml2::XMLElement* param);
    };
    static const Section kSections[8];

    /** Whom the file is read for; without an owner nothing but the tables is touched. */
    static void SetOwner(ConfigOwner* configOwner) { owner = configOwner; }

    /** Fills in the built-in codes; those that are there already stay. */
    static void Init();
    /** Reads the file that GetPaths() names. */
    static void ParseXmlConfigFile();
    /** The parameter group of this service, the first of its name; null without one. */
    static const tinyxml2::XMLElement* FindGroup(const tinyxml2::XMLElement* config);
    /** Reads all sections of the parameter group, in order, and logs the result. */
    static void ParseHelper(const tinyxml2::XMLElement* params);

    static void ParseSettingSwitch(const tinyxml2::XMLElement* param);
    static void ParseSettingDefaultId(const tinyxml2::XMLElement* param);
    static void ParseApplicationList(const tinyxml2::XMLElement* param);
    static void ParseTpPointerConfig(const tinyxml2::XMLElement* param);
    static void ParseMultiAppLcdFpsConfig(const tinyxml2::XMLElement* param);

    // CompositorConfig.cpp
    static void ParseSfCompositionConfig(const tinyxml2::XMLElement* param);
    static void ParseSlideModelConfig(const tinyxml2::XMLElement* param);
    static void ParseParticalComposeThresholdConfig(const tinyxml2::XMLElement* param);

    /** Logs the tables. */
    static void PrintXmlData();

  private:
    static ConfigOwner* owner;
};

}  // namespace KVT
