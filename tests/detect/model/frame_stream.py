# SPDX-License-Identifier: Apache-2.0
"""The streams of sim/FrameStream.h: the same seed gives the same frames."""

MASK = (1 << 64) - 1


class Mt19937_64:
    """std::mt19937_64; the 10000th number from the default seed is fixed by the C++ standard."""

    def __init__(self, seed):
        self.state = [seed & MASK]
        for i in range(1, 312):
            last = self.state[-1]
            self.state.append((6364136223846793005 * (last ^ (last >> 62)) + i) & MASK)
        self.index = 312

    def next(self):
        if self.index == 312:
            self.index = 0
            for i in range(312):
                x = (self.state[i] & ~0x7FFFFFFF & MASK) | (self.state[(i + 1) % 312] & 0x7FFFFFFF)
                twist = (x >> 1) ^ (0xB5026F5AA96619E9 if x & 1 else 0)
                self.state[i] = self.state[(i + 156) % 312] ^ twist
        x = self.state[self.index]
        self.index += 1
        x ^= (x >> 29) & 0x5555555555555555
        x ^= (x << 17) & 0x71D67FFFEDA60000
        x ^= (x << 37) & 0xFFF7EEE000000000
        return x ^ (x >> 43)


def check_generator():
    random = Mt19937_64(5489)
    for _ in range(9999):
        random.next()
    assert random.next() == 9981545732273789042


class FrameStream:
    def __init__(self, seed):
        self.random = Mt19937_64(seed)
        self.odd = False

    def next(self, period, jitter, swing, drop_per_mille):
        jitter_draw = self.random.next()
        drop_draw = self.random.next()
        length = period * (2 if drop_draw % 1000 < drop_per_mille else 1)
        length += jitter_draw % (2 * jitter + 1) - jitter
        length += -swing if self.odd else swing
        self.odd = not self.odd
        return length
