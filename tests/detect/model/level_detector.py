# SPDX-License-Identifier: Apache-2.0
"""The level estimator, as slow and plain as possible: whole windows, whole history."""
import struct


def single(value):
    """The single-precision number nearest to value."""
    return struct.unpack("f", struct.pack("f", value))[0]


FPS = [20, 25, 30, 35, 40, 45, 50, 55, 60, 70, 80, 90]
PERIOD = [1000000000 // fps for fps in FPS]


def boundary(level):
    near, far = (0.55, 0.45) if level < 8 else (0.45, 0.55)
    return int(single(single(near) * single(PERIOD[level])) + single(far) * PERIOD[level + 1])


def level_of(period):
    for level in range(11):
        if boundary(level) < period:
            return level
    return 11


def flatten(lengths):
    result = list(lengths)
    for i in range(0, len(result) - 1, 2):
        total = result[i] + result[i + 1]
        result[i] = result[i + 1] = total // 2 if total >= 2 else 1
    return result


def count_fast(lengths, fps):
    bound = 1000000000 // (fps + 2 if fps < 60 else fps + 5)
    return len([x for x in lengths if x < bound])


def count_slow(lengths, fps):
    bound = 1000000000 // (fps - 3 if fps < 61 else fps - 5)
    return len([x for x in lengths if x > bound])


class LevelDetector:
    def __init__(self):
        self.clear()

    def clear(self):
        self.stable = 0
        self.fps = 20
        self.level = 0
        self.high = self.low = 0
        self.filling = []
        self.windows = []
        self.history = []

    def update(self, length):
        """True when self.fps should be read."""
        self.filling.append(min(max(length, 2000000), 66666666))
        if len(self.filling) < 50:
            return False
        new = level_of(sum(self.filling) // 50)
        old = self.level
        self.windows.append(self.filling)
        self.filling = []
        if new <= old + 1:
            if len(self.windows) < 2:
                return False
            merged = self.windows[0] + self.windows[1]
            self.windows.pop(0)
            new = level_of(sum(merged) // 100)
            merged = flatten(merged)
            self.high = count_fast(merged, self.fps)
            self.low = count_slow(merged, self.fps if new >= old else FPS[min(new + 1, 11)])
        elif len(self.windows) > 1:
            self.windows.pop(0)
        changed = self.decide(old, new)
        self.level = min(max(self.level, 0), 11)
        self.history = (self.history + [(old, new)])[-5:]
        if changed:
            self.stable = 0
        elif self.stable >= 1:
            self.stable = 0
        else:
            self.stable += 1
            return False
        self.fps = FPS[self.level]
        return True

    def decide(self, old, new):
        if new > old:
            self.level = new
            return True
        if new == old:
            if self.high >= 61 and self.high >= self.low:
                self.level = new + 1
                return True
            return False
        if self.low >= 91 or (self.low >= 51 and self.history == [(old, new)] * 5):
            self.level = new
            return True
        return False
