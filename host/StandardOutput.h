// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace KVT {

/**
 * For the end of main(): sees to it that what the program has printed has arrived, be it through
 * stdout or std::cout. A reader that went away has seen what it wanted.
 *
 * @return `status`, or 1 after an error line in the name of `program` when something is lost
 */
int FinishStandardOutput(const char* program, int status);

/** Whether nobody is left to read what goes to standard output. */
bool IsReaderGone();

}  // namespace KVT
