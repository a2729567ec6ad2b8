// SPDX-License-Identifier: Apache-2.0
#pragma once

/** Tells the performance service the panel's refresh rate in Hz. Best effort; does not wait. */
int SendCurrentFps(int fps);
