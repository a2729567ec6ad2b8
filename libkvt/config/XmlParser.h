// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <tinyxml2.h>

#include "config/ConfigOwner.h"
#include "config/ConfigTables.h"

namespace KVT {

/**
 * Reads the configuration file, at start-up into the tables of the process, later into others that
 * take their place. One thread at a time.
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
        void (*parse)(const tinyxml2::XMLElement* param, ConfigTables& tables);
    };
    static const Section kSections[8];

    /** Whom the file is read for; without an owner nothing but the tables is touched. */
    static void SetOwner(ConfigOwner* configOwner) { owner = configOwner; }

    /** Fills in the built-in codes; those that are there already stay. */
    static void Init(ConfigTables& tables = PolicyConfig::tables);
    /** Reads the file that GetPaths() names, into the tables of the process. */
    static void ParseXmlConfigFile();
    /** The parameter group of this service, the first of its name; null without one. */
    static const tinyxml2::XMLElement* FindGroup(const tinyxml2::XMLElement* config);
    /** Reads all sections of the parameter group, in order, and logs the result. */
    static void ParseHelper(const tinyxml2::XMLElement* params,
                            ConfigTables& tables = PolicyConfig::tables);

    static void ParseSettingSwitch(const tinyxml2::XMLElement* param, ConfigTables& tables);
    static void ParseSettingDefaultId(const tinyxml2::XMLElement* param, ConfigTables& tables);
    static void ParseApplicationList(const tinyxml2::XMLElement* param, ConfigTables& tables);
    static void ParseTpPointerConfig(const tinyxml2::XMLElement* param, ConfigTables& tables);
    static void ParseMultiAppLcdFpsConfig(const tinyxml2::XMLElement* param, ConfigTables& tables);

    // CompositorConfig.cpp
    static void ParseSfCompositionConfig(const tinyxml2::XMLElement* param, ConfigTables& tables);
    static void ParseSlideModelConfig(const tinyxml2::XMLElement* param, ConfigTables& tables);
    static void ParseParticalComposeThresholdConfig(const tinyxml2::XMLElement* param,
                                                    ConfigTables& tables);

    /** Logs the tables. */
    static void PrintXmlData(const ConfigTables& tables);

  private:
    static ConfigOwner* owner;
};

}  // namespace KVT
