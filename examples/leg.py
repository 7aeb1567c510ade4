"""The leg of examples/leg.hsa in Python: hip, knee and ankle posed by a veltra
IK handle at the ankle, through the same handle positions. Writes leg_py.svg.

Run from the repository root, either way:
    PYTHONPATH=build/python /usr/bin/python3 examples/leg.py
    build/bin/hostsh examples/leg.py
"""

from hostpy import cmds

cmds.loadPlugin("veltra")
cmds.createNode("veltra", n="veltra")

# The knee sits a little forward (+Z), so the leg bends forward like a knee.
cmds.joint(p=(0, 10, 0), n="hip")
cmds.joint(p=(0, 5, 0.6), n="knee")
cmds.joint(p=(0, 0, 0), n="ankle")
cmds.select(cl=True)
cmds.ikHandle(sj="hip", ee="ankle", sol="veltra", n="legIk")
cmds.snapshot(record=True)

poses = [
    ("lift the foot", (0, 3, 2)),
    ("step forward", (0, 1, 4.5)),
    ("crouch, the knee folds forward", (0, 4, 0.5)),
    ("reach too far, the leg straightens towards it", (0, -3, 1)),
    ("settle", (0, 2, 1.5)),
]
for label, goal in poses:
    cmds.move(*goal, "legIk")
    end = cmds.xform("effector1", q=True, ws=True, t=True)
    print(f"{label}: handle {goal}, effector ({end[0]:.4f}, {end[1]:.4f}, {end[2]:.4f}),"
          f" distance {cmds.distance('effector1', 'legIk'):.6f}")
    if goal != poses[-1][1]:
        cmds.snapshot(record=True)

print("knee:", cmds.xform("knee", q=True, ws=True, t=True))
cmds.snapshot(o="leg_py.svg", view="side", ghost=True,
              title="leg from Python: rest, lift, step, crouch, over-reach, settle")
