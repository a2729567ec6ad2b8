// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "sim/fakes/FakePanel.h"

namespace KVT::sim {

/** The compositor: records what it is told, and draws a frame when it is forced to. */
class FakeCompositor : public android::BBinder {
  public:
    struct Call {
        uint32_t code;
        uint32_t flags;
        std::vector<uint8_t> bytes;
    };

    FakeCompositor(const android::sp<Journal>& journal, const android::sp<FakePanel>& panel)
        : mJournal(journal), mPanel(panel) {}

    /** The panel is another process's: frames go to the display service, wherever that is. */
    void showFramesElsewhere() { mPanelIsElsewhere = true; }

    /** All calls so far, oldest first; forgets them. */
    std::vector<Call> takeCalls() EXCLUDES(mMutex);
    /** The compositor sends touch events only while it was last told that someone acts on them. */
    bool wantsTouchEvents() const { return mWantsTouchEvents; }

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override;

  private:
    void drawFrame();
    /** Notes a notice that says something else than the last one of its kind. */
    void noteChange(uint32_t code, const std::string& notice) EXCLUDES(mMutex);

    const android::sp<Journal> mJournal;
    const android::sp<FakePanel> mPanel;
    std::atomic<bool> mPanelIsElsewhere{false};
    std::atomic<bool> mWantsTouchEvents{false};
    Mutex mMutex;
    std::vector<Call> mCalls GUARDED_BY(mMutex);
    std::map<uint32_t, std::string> mNotices GUARDED_BY(mMutex);
};

}  // namespace KVT::sim
