// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

/**
 * What the decision looks at besides the foreground package: one row an input, with its type, its
 * name and its key in the dump. The policy's atomic members, the snapshot and the dump are made
 * from these rows, in this order. Every input starts at 0 or false.
 */
// clang-format off
#define KVT_SCENE_INPUTS(INPUT)                                                              \
    /* An external display is connected. */                                                  \
    INPUT(bool, underDisplayHotplugControl, "display_hotplug")                               \
    /* Living virtual displays; not clamped, so a stray removal makes it negative. */        \
    INPUT(int32_t, virtualDisplayStatus, "virtual_displays")                                 \
    /* A touch-pad pointer is in use. */                                                     \
    INPUT(bool, underTpPointerControl, "touch_pointer")                                      \
    /* The power mode is one that saves power. */                                            \
    INPUT(bool, powerModeSwitch, "power_saving")                                             \
    /* A video call runs. */                                                                 \
    INPUT(bool, underWechatVideoScene, "video_call")                                         \
    /* Full-screen video plays. */                                                           \
    INPUT(bool, underFullVideoScene, "full_video")                                           \
    /* 1: the compositor composes with the GPU. */                                           \
    INPUT(int32_t, gpuCompositionStatus, "gpu_composition")                                  \
    /* GPU-composition starts of the current package. */                                     \
    INPUT(int32_t, gpuCompositionCount, "gpu_composition_count")                             \
    /* 0 idle, 1 wants the high rate, 2 the low one; other events wait with their decision   \
       meanwhile. */                                                                         \
    INPUT(int32_t, fingerprintStatus, "fingerprint")                                         \
    /* Packages left, the current one included, to be held at 60 Hz by a compatibility       \
       test. */                                                                              \
    INPUT(int32_t, ctsTestCount, "compatibility_test_count")                                 \
    /* 0 one application, 1 several with different codes, 2 several and a forced low rate. */ \
    INPUT(int32_t, underMultiAppStatus, "multi_app")
// clang-format on

namespace KVT {

/** The scene inputs at one moment, and the configured limit that one of them is held against. */
struct PolicySnapshot {
#define KVT_FIELD(type, name, key) type name{};
    KVT_SCENE_INPUTS(KVT_FIELD)
#undef KVT_FIELD
    int32_t gpuCompositionCountLimit = 1;
};

}  // namespace KVT
