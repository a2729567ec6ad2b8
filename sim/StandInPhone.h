// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace KVT::sim {

/**
 * The program kvt-phone: the fake phone as a process of its own, which registers its services with
 * the service manager, plays a scenario to the running service if one is given, and prints what the
 * phone does until a signal ends it. Several of them can share the phone's services among them, so
 * that each may fail by itself.
 *
 * @return exit status: 0, 1 without a binder driver or service manager, 2 for a command line or
 * scenario that makes no sense
 */
int RunStandInPhone(int argc, const char* const* argv);

}  // namespace KVT::sim
