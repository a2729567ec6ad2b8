// SPDX-License-Identifier: Apache-2.0
#pragma once

#ifdef __SANITIZE_THREAD__
#define KVT_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KVT_THREAD_SANITIZER 1
#endif
#endif

#ifdef KVT_THREAD_SANITIZER
extern "C" {
void AnnotateIgnoreSyncBegin(const char* file, int line);
void AnnotateIgnoreSyncEnd(const char* file, int line);
void AnnotateIgnoreReadsBegin(const char* file, int line);
void AnnotateIgnoreReadsEnd(const char* file, int line);
void AnnotateIgnoreWritesBegin(const char* file, int line);
void AnnotateIgnoreWritesEnd(const char* file, int line);
}
#endif

namespace KVT::virtualtime {

/**
 * Hides the scheduler's own work from ThreadSanitizer.
 *
 * Handing the turn from thread to thread orders everything that participants do, and would hide
 * every race of the code under test. Unseen, it leaves only the order that the locks of that code
 * give, so that a race is reported although the threads never really run at the same time.
 */
class Unseen {
  public:
#ifdef KVT_THREAD_SANITIZER
    Unseen() {
        AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
        AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
        AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
    }
    ~Unseen() {
        AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
        AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
        AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
    }
#else
    Unseen() {}
    ~Unseen() {}
#endif
    Unseen(const Unseen&) = delete;
    Unseen& operator=(const Unseen&) = delete;
};

}  // namespace KVT::virtualtime
