"""Rig, solve and query host scenes from Python.

    from hostpy import cmds
    cmds.joint(p=(0, 10, 0), n="hip")
    cmds.xform("hip", q=True, ws=True, t=True)   # (0.0, 10.0, 0.0)

Every command the host has registered, built-in or from a plug-in, is a
function of ``hostpy.cmds``. Flags are keyword arguments by long or short
name; commands run through the host's command engine, so they undo, report
errors and solve the scene exactly as in a scene script.
"""

import contextlib
import sys
import types

from . import _hostpy
from ._hostpy import CommandError, world_positions

__all__ = ["cmds", "CommandError", "undo_chunk", "world_positions"]


def _command_function(name):
    def command(*args, **flags):
        return _hostpy.run(name, args, flags)

    command.__name__ = command.__qualname__ = name
    command.__doc__ = _hostpy.command_doc(name)
    return command


class _Commands(types.ModuleType):
    """The host's commands as functions. Looked up on each use, so commands
    a plug-in registers after import appear and those it removes go."""

    def __getattr__(self, name):
        if name.startswith("__") or not _hostpy.has_command(name):
            raise AttributeError(_hostpy.unknown_command_message(name))
        return _command_function(name)

    def __dir__(self):
        return sorted(set(super().__dir__()) | set(_hostpy.command_names()))


cmds = _Commands("hostpy.cmds", "The host's commands as Python functions.")
sys.modules[__name__ + ".cmds"] = cmds


@contextlib.contextmanager
def undo_chunk(name="undoChunk"):
    """Makes the undoable commands run inside the block one undo step.

    The step is kept when the block raises, so one undo takes back what ran
    before the error. Chunks nest: the outermost one is the step."""
    start = _hostpy.undo_depth()
    try:
        yield
    finally:
        _hostpy.group_undo(max(0, _hostpy.undo_depth() - start), name)
