// SPDX-License-Identifier: Apache-2.0
#include "service/KVTListenerHandler.h"

#include <algorithm>

#include "common/Log.h"

namespace KVT {

using android::Message;
using android::sp;

Mutex KVTListenerHandler::mutexLock;
std::atomic<int32_t> KVTListenerHandler::gameFps{60};

KVTListenerHandler::~KVTListenerHandler() = default;

void KVTListenerHandler::handleMessage(const Message& message) {
    HandleMessageSelf(message.what);
}

void KVTListenerHandler::AddListener(const sp<KVTListener>& listener) {
    MutexLock lock(mutexLock);
    if (std::find(mListeners.begin(), mListeners.end(), listener) != mListeners.end()) {
        KVT_LOGW("[kvt--->KVTListenerHandler:%s] Listener exist", __func__);
        return;
    }
    mListeners.push_back(listener);
    mListenerNum = mListeners.size();
}

void KVTListenerHandler::RemoveListener(const sp<KVTListener>& listener) {
    MutexLock lock(mutexLock);
    KVT_LOGD("[kvt--->KVTListenerHandler:%s] Remove listener.", __func__);
    const auto found = std::find(mListeners.begin(), mListeners.end(), listener);
    if (found == mListeners.end()) {
        return;
    }
    KVT_LOGD("kvt--->KVTListenerHandler::remove Listener");
    mListeners.erase(found);
    mListenerNum = mListeners.size();
}

void KVTListenerHandler::HandleMessageSelf(int32_t what) {
    switch (what) {
        case GAME_FPS_REPORT: {
            MutexLock lock(mutexLock);
            for (const sp<KVTListener>& listener : mListeners) {
                if (listener != nullptr) {
                    listener->NotifyGameFpsToAps(gameFps);
                }
            }
            break;
        }
        case RESERVED_5:
        case RESERVED_6: {
            MutexLock lock(mutexLock);
            break;
        }
        default:
            break;
    }
}

int32_t KVTListenerHandler::SendMessage(const sp<KVTListenerHandler>& target,
                                        const Message& message, int64_t delay) {
    return mMessageQueue.PostMessage(target, message, delay);
}

}  // namespace KVT
