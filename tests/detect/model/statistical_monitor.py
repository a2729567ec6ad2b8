# SPDX-License-Identifier: Apache-2.0
"""The statistical estimator, as slow and plain as possible."""
import math

ROWS = [(5, 0), (22, 20), (27, 25), (32, 30), (37, 35), (42, 40), (47, 45),
        (52, 50), (57, 55), (64, 60), (77, 70), (87, 80)]


def quantise(rate):
    for last, fps in ROWS:
        if rate <= last:
            return fps
    return 90


def rate_of(sample):
    if not sample:
        return 0
    return int(1000000000.0 / (sum(sample) / len(sample)))


def three_sigma(sample):
    """What remains of the sample, and its standard deviation."""
    mean = sum(sample) / len(sample)
    squares = 0.0
    for x in sample:
        squares += (x - mean) * (x - mean)
    sd = math.sqrt(squares / (len(sample) - 1))
    bound = 3 * sd
    if sd == 0:
        return sample, 0.0
    return [x for x in sample if abs(x - mean) < bound], bound / 3


class StatisticalMonitor:
    def __init__(self):
        self.quiet = 0
        self.clear()

    def clear(self):
        self.filling = []
        self.windows = []
        self.fps = 20
        self.proposed = 20
        self.times = 0

    def update(self, length):
        """True when self.fps should be read."""
        self.filling.append(min(max(length, 2000000), 66666666))
        if len(self.filling) < 20:
            return False
        self.windows.append(self.filling)
        self.filling = []
        if len(self.windows) < 5:
            return False
        changed = self.evaluate()
        self.windows.pop(0)
        if changed or self.quiet == 4:
            self.quiet = 0
            return True
        self.quiet += 1
        return False

    def evaluate(self):
        kept, sd = three_sigma(self.windows[3] + self.windows[4])
        if sd > 5000000.0:
            return False
        fps = quantise(rate_of(kept))
        rising = fps > self.fps
        if fps < self.fps:
            kept, sd = three_sigma([x for window in self.windows for x in window])
            fps = quantise(rate_of(kept))
        if fps >= self.fps:
            self.proposed, self.times = fps, 1
            if rising:
                self.fps = fps
            return rising
        if fps != self.proposed:
            self.proposed, self.times = fps, 1
            return False
        self.times += 1
        if self.times < 6:
            return False
        self.fps = fps
        return True
