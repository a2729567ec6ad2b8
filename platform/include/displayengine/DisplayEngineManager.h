// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/RefBase.h>

#include <string>

/** Client of the display engine, which tunes picture quality to the panel's refresh rate. */
class DisplayEngineManager : public android::RefBase {
  public:
    /** @param rate the new refresh rate in Hz, as decimal text. Best effort; does not wait. */
    void setFrameRate(const std::string& rate);
};
