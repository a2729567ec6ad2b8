#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes answers.txt: what the models say about streams.txt.

One line per stream and estimator: NAME ESTIMATOR, then FRAME:FPS for each frame (the first is 1)
that a result is due after.
"""
import pathlib

from frame_stream import FrameStream, check_generator
from level_detector import LevelDetector
from statistical_monitor import StatisticalMonitor

HERE = pathlib.Path(__file__).parent


def answers(lines):
    result = []
    for words in lines:
        if words == ["clear"]:
            detector.clear()
            monitor.clear()
        elif len(words) == 2:
            stream, frame = FrameStream(int(words[1])), 0
            detector, monitor = LevelDetector(), StatisticalMonitor()
            result += [[words[0], "detector"], [words[0], "monitor"]]
        else:
            count, *pattern = map(int, words)
            for _ in range(count):
                frame += 1
                length = stream.next(*pattern)
                if detector.update(length):
                    result[-2].append(f"{frame}:{detector.fps}")
                if monitor.update(length):
                    result[-1].append(f"{frame}:{monitor.fps}")
    return result


check_generator()
text = (HERE / "streams.txt").read_text().splitlines()
lines = [line.split() for line in text if line.strip() and not line.startswith("#")]
(HERE / "answers.txt").write_text("".join(" ".join(row) + "\n" for row in answers(lines)))
