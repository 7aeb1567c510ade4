"""hostpy through its public face: cmds, undo_chunk, world_positions and
hostsh running Python files."""

import math
import subprocess
import sys

import numpy as np
import pytest

import hostpy
from hostpy import cmds
from conftest import HOSTSH, distance


def test_rig_and_solve_through_cmds(leg):
    # Inside the leg's reach the chain's end lands on the handle; the leg
    # keeps its bone lengths.
    for goal in [(0, 3, 2), (0, 1, 4.5), (0, 4, 0.5)]:
        cmds.move(*goal, "legIk")
        end = cmds.xform("effector1", q=True, ws=True, t=True)
        assert distance(end, goal) < 1e-4
        hip, knee, ankle = (cmds.xform(n, q=True, ws=True, t=True) for n in ("hip", "knee", "ankle"))
        assert distance(hip, knee) == pytest.approx(math.hypot(5, 0.6))
        assert distance(knee, ankle) == pytest.approx(math.hypot(5, 0.6))
    rotate = cmds.getAttr("hip.rotate")
    assert isinstance(rotate, tuple) and len(rotate) == 3
    assert all(isinstance(v, float) for v in rotate) and rotate != (0.0, 0.0, 0.0)


def test_queries_return_python_values(leg):
    assert cmds.ls(type="joint") == ["hip", "knee", "ankle"]
    assert cmds.ls(sl=True) == []
    assert cmds.joint(p=(1, 2, 3)) == "joint1"
    assert cmds.xform("joint1", q=True, ws=True, t=True) == (1.0, 2.0, 3.0)
    assert cmds.getAttr("legIk.solverEnable") == 1.0
    cmds.setAttr("legIk.solverEnable", False)
    assert cmds.getAttr("legIk.solverEnable") == 0.0
    # Short and long flag names, and a Python keyword with a trailing underscore.
    assert cmds.xform("hip", query=True, worldSpace=True, translation=True) == (0.0, 10.0, 0.0)
    assert cmds.getAttr("legIk.solverEnable", as_=True) is not None
    assert "position, p: (float, float, float)" in cmds.joint.__doc__


def test_world_positions_match_xform(leg):
    cmds.move(0, 3, 2, "legIk")
    names = ["hip", "knee", "effector1", "legIk"]
    positions = hostpy.world_positions(names)
    assert positions.shape == (4, 3) and positions.dtype == np.float64
    expected = [cmds.xform(n, q=True, ws=True, t=True) for n in names]
    np.testing.assert_allclose(positions, expected, rtol=0, atol=1e-12)
    with pytest.raises(hostpy.CommandError, match="nowhere"):
        hostpy.world_positions(["hip", "nowhere"])
    with pytest.raises(TypeError):
        hostpy.world_positions([1, 2])


@pytest.mark.parametrize(
    "call, error, message",
    [
        (lambda: cmds.move(0, 1, 2, "nowhere"), hostpy.CommandError, "move: No node named 'nowhere'"),
        (lambda: cmds.getAttr("hip.noSuchAttr"), hostpy.CommandError, "noSuchAttr"),
        (lambda: cmds.joint(p="x"), TypeError, "-p/-position"),
        (lambda: cmds.joint(n={"a": 1}), TypeError, "-n/-name expects a string"),
        (lambda: cmds.joint(p=(0, 1)), TypeError, "takes 3 values"),
        (lambda: cmds.joint(bogus=1), TypeError, "unknown flag 'bogus'"),
        (lambda: cmds.joint(p=(0, float("nan"), 0)), ValueError, "finite"),
        (lambda: cmds.move(float("inf"), 0, 0, "legIk"), ValueError, "finite"),
        (lambda: cmds.setAttr("hip.tx", {}), TypeError, "argument 2"),
        (lambda: cmds.ikHandle(sj="hip", ee="hip", sol="veltra"), hostpy.CommandError, "ikHandle"),
    ],
)
def test_bad_input_raises_and_changes_nothing(leg, call, error, message):
    before = {n: cmds.xform(n, q=True, ws=True, t=True) for n in cmds.ls(dag=True)}
    depth = cmds.ls()
    with pytest.raises(error, match=message):
        call()
    assert cmds.ls() == depth
    assert {n: cmds.xform(n, q=True, ws=True, t=True) for n in cmds.ls(dag=True)} == before


def test_fresh_interpreter_has_the_animation_commands():
    # Without any plug-in loaded first, joint and ikHandle exist and solve.
    code = "from hostpy import cmds; print(cmds.ikHandle.__name__, cmds.joint())"
    run = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True)
    assert (run.returncode, run.stdout) == (0, "ikHandle joint1\n"), run.stderr


def test_unknown_command_is_an_attribute_error():
    with pytest.raises(AttributeError, match="Did you mean 'move'"):
        cmds.mvoe
    with pytest.raises(AttributeError):
        cmds.noSuchCommand
    assert "joint" in dir(cmds)


def test_undo_chunk_is_one_step(leg):
    start = cmds.xform("legIk", q=True, ws=True, t=True)
    with hostpy.undo_chunk():
        cmds.move(0, 3, 2, "legIk")
        cmds.joint(p=(5, 5, 5), n="extra")
        with hostpy.undo_chunk():
            cmds.move(0, 1, 4.5, "legIk")
    solved = cmds.xform("effector1", q=True, ws=True, t=True)
    cmds.undo()
    assert cmds.xform("legIk", q=True, ws=True, t=True) == start
    assert "extra" not in cmds.ls()
    cmds.redo()
    assert "extra" in cmds.ls()
    assert cmds.xform("effector1", q=True, ws=True, t=True) == solved
    # A chunk that raises still undoes as one step.
    with pytest.raises(hostpy.CommandError):
        with hostpy.undo_chunk():
            cmds.move(0, 2, 2, "legIk")
            cmds.move(0, 2, 2, "nowhere")
    cmds.undo()
    assert cmds.xform("effector1", q=True, ws=True, t=True) == solved


def test_plugin_commands_follow_load_and_unload(scene):
    cmds.unloadPlugin("veltra")
    assert not hasattr(cmds, "veltraRestPose")
    cmds.loadPlugin("veltra")
    assert "veltraRestPose" in dir(cmds)
    with pytest.raises(hostpy.CommandError, match="not an IK handle"):
        cmds.veltraRestPose("persp")


def test_hostsh_runs_python_on_the_same_scene(tmp_path):
    scene = tmp_path / "leg.hsa"
    scene.write_text(
        "loadPlugin veltra; createNode veltra -n veltra\n"
        "joint -p 0 10 0 -n hip; joint -p 0 5 0.6 -n knee; joint -p 0 0 0 -n ankle\n"
        "select -cl; ikHandle -sj hip -ee ankle -sol veltra -n legIk\n"
        'python "cmds.move(0, 3, 2, \\"legIk\\")"\n'
    )
    check = tmp_path / "check.py"
    check.write_text(
        "import hostpy\nfrom hostpy import cmds\n"
        "end = hostpy.world_positions(['effector1'])[0]\n"
        "print('reach', round(float(((end - (0, 3, 2)) ** 2).sum() ** 0.5), 4))\n"
        "cmds.python('print(len(cmds.ls(type=\"joint\")))')\n"
    )
    run = subprocess.run([HOSTSH, str(scene), str(check)], capture_output=True, text=True)
    assert run.returncode == 0, run.stderr
    assert run.stdout.split("\n")[-3:] == ["reach 0.0", "3", ""]
    failing = tmp_path / "fail.py"
    failing.write_text("from hostpy import cmds\ncmds.move(0, 0, 0, 'nowhere')\n")
    run = subprocess.run([HOSTSH, str(failing)], capture_output=True, text=True)
    assert run.returncode == 1 and "CommandError: move: No node named 'nowhere'" in run.stderr
