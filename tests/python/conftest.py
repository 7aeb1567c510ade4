"""Shared fixtures: every test starts from an empty scene with veltra loaded."""

import math
import os
import pathlib

import pytest

from hostpy import cmds

SOURCE_DIR = pathlib.Path(__file__).resolve().parents[2]
HOSTSH = os.environ.get("HOSTPY_HOSTSH", str(SOURCE_DIR / "build" / "bin" / "hostsh"))


@pytest.fixture
def scene():
    cmds.file(new=True, force=True)
    if not hasattr(cmds, "veltraRestPose"):
        cmds.loadPlugin("veltra")
    yield cmds
    cmds.file(new=True, force=True)


@pytest.fixture
def leg(scene):
    """The leg of examples/leg.hsa, its handle at the ankle."""
    cmds.createNode("veltra", n="veltra")
    cmds.joint(p=(0, 10, 0), n="hip")
    cmds.joint(p=(0, 5, 0.6), n="knee")
    cmds.joint(p=(0, 0, 0), n="ankle")
    cmds.select(cl=True)
    cmds.ikHandle(sj="hip", ee="ankle", sol="veltra", n="legIk")
    return cmds


def distance(a, b):
    return math.dist(a, b)
