// Cost of one kernel solve as the solver node runs it: construction, solve
// and both apply passes, for chains of 3 to 20 entries with the handle within
// reach, nearer than the rest end (folding) and beyond the straight chain.

#include <benchmark/benchmark.h>

#include <HFileIO.h>
#include <veltraKernel.h>

#include <random>
#include <vector>

#include "../tests/support/ChainFixture.h"

namespace {

using namespace chainfixture;

enum Placement { kReachable = 0, kFolded = 1, kOutOfReach = 2 };

// A chain with rest rotations, joint orients and rotate orientations on every
// joint, bones 1 long, and a plain transform as the goal.
struct BenchChain {
  explicit BenchChain(unsigned entries, Placement placement) {
    HFileIO::newFile(true);
    std::mt19937 rng(entries);
    std::uniform_real_distribution<double> small(-0.4, 0.4);
    std::vector<JointDesc> descs(entries);
    for (unsigned i = 0; i < entries; ++i) {
      descs[i].translate = HVector(i == 0 ? 0.0 : 1.0, 0.0, 0.0);
      descs[i].rotate = HVector(small(rng), small(rng), 0.3 + small(rng));
      descs[i].jointOrient = HVector(small(rng), small(rng), small(rng));
      if (i > 0)
        descs[i].rotateAxis = HVector(small(rng), small(rng), small(rng));
    }
    chain = buildChain(descs);
    const std::vector<Vec3> rest = worldPositions(chain.entries);
    double straight = 0.0;
    for (unsigned i = 0; i + 1 < entries; ++i)
      straight += (rest[i + 1] - rest[i]).length();
    const double span = (rest.back() - rest.front()).length();
    const double distance[] = {0.5 * (span + straight), 0.6 * span, 1.5 * straight};
    placeGoal(chain, HVector(0.3, 0.8, -0.5).normal() * distance[placement]);
    for (unsigned i = 0; i < entries; ++i) {
      double angles[3];
      HTransformationMatrix::RotationOrder order;
      HFnTransform(chain.entries[i]).getRotation(angles, order);
      restPose.append(HVector(angles));
    }
    angleBias = HDoubleArray(entries, 1.0);
  }

  Chain chain;
  HVectorArray restPose;
  HVector restPoleVector = HVector::yAxis;
  HDoubleArray angleBias;
  HVector poleVector = HVector(0.0, 0.0, 1.0);
  double twist = 0.3;
};

void BM_KernelSolve(benchmark::State& state) {
  BenchChain b(unsigned(state.range(0)), Placement(state.range(1)));
  for (auto _ : state) {
    veltraKernel kernel(b.chain.entries, b.chain.goal, b.restPose, b.restPoleVector, b.angleBias,
                        b.poleVector, b.twist);
    HDoubleArray bendAngles, planeAngles;
    HVectorArray bendAxes, planeAxes;
    kernel.solve(bendAngles, bendAxes, planeAngles, planeAxes);
    kernel.ikApplyRotations(b.chain.entries, bendAngles, bendAxes);
    kernel.ikApplyRotations(b.chain.entries, planeAngles, planeAxes);
    benchmark::DoNotOptimize(bendAngles[0]);
  }
}
BENCHMARK(BM_KernelSolve)
    ->ArgNames({"entries", "placement"})
    ->ArgsProduct({{3, 4, 6, 10, 20}, {kReachable, kFolded, kOutOfReach}})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
