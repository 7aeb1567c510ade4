"""A 12-joint tail whose angle-bias ramp makes the tip curl more than the base,
its handle swept along an arc. Prints the reach (the distance from the chain's
end to the handle) at each step and writes tail_sweep.svg.

Run from the repository root, either way:
    PYTHONPATH=build/python /usr/bin/python3 examples/tail.py
    build/bin/hostsh examples/tail.py
"""

import math

import hostpy
from hostpy import cmds

cmds.loadPlugin("veltra")
cmds.createNode("veltra", n="veltra")

# A gentle upward curve along +X, one unit per bone.
joints = [cmds.joint(p=(i, 0.02 * i * i, 0), n=f"tail{i + 1}") for i in range(12)]
cmds.select(cl=True)
handle, effector = cmds.ikHandle(sj=joints[0], ee=joints[-1], sol="veltra", n="tailIk")

# The ramp appears at the first solve with one entry per inner joint (ten).
# Rising values give the joints near the tip more of the bend.
inner = len(joints) - 2
with hostpy.undo_chunk("tipHeavyRamp"):
    for i in range(inner):
        weight = (i / (inner - 1)) ** 2
        cmds.setAttr(f"{handle}.wexelAngleBias[{i}].wexelAngleBias_FloatValue", weight)

# Sweep the handle along an arc over the tail, from stretched to curled.
steps = 8
for step in range(steps + 1):
    angle = math.pi * 0.45 * step / steps
    goal = (9 * math.cos(angle), 2 + 7 * math.sin(angle), 0)
    cmds.move(*goal, handle)
    end, target = hostpy.world_positions([effector, handle])
    reach = float(((end - target) ** 2).sum() ** 0.5)
    print(f"step {step}: handle ({goal[0]:.2f}, {goal[1]:.2f}), reach {reach:.6f}")
    cmds.snapshot(record=True)

cmds.snapshot(o="tail_sweep.svg", view="front", ghost=True,
              title="tail: tip-heavy ramp, handle swept along an arc")
print("wrote tail_sweep.svg")
