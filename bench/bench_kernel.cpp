// Cost of the kernel alone: one solve over an input gathered beforehand, for
// chains of 3 to 20 entries with the handle within reach, nearer than the
// rest end (folding) and beyond the straight chain. No scene is involved.

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "../tests/support/KernelFixture.h"

namespace {

using namespace kernelfixture;

enum Placement { kReachable = 0, kFolded = 1, kOutOfReach = 2 };

// A chain with rest rotations, joint orients and rotate orientations on every
// joint, bones 1 long, and the handle in a fixed direction from the root.
veltraKernelInput benchInput(unsigned entries, Placement placement) {
  std::mt19937 rng(entries);
  std::uniform_real_distribution<double> small(-0.4, 0.4);
  ValueChain chain;
  chain.joints.resize(entries);
  for (unsigned i = 0; i < entries; ++i) {
    JointDesc& d = chain.joints[i];
    d.translate = HVector(i == 0 ? 0.0 : 1.0, 0.0, 0.0);
    d.rotate = HVector(small(rng), small(rng), 0.3 + small(rng));
    d.jointOrient = HVector(small(rng), small(rng), small(rng));
    if (i > 0)
      d.rotateAxis = HVector(small(rng), small(rng), small(rng));
  }
  veltraKernelInput input = kernelInput(chain, Vec3{});
  const std::vector<Vec3> rest = positionsOf(worldMatrices(chain, input));
  double straight = 0.0;
  for (unsigned i = 0; i + 1 < entries; ++i)
    straight += (rest[i + 1] - rest[i]).length();
  const double span = (rest.back() - rest.front()).length();
  const double distance[] = {0.5 * (span + straight), 0.6 * span, 1.5 * straight};
  const HVector handle = HVector(0.3, 0.8, -0.5).normal() * distance[placement];
  input.handleWorldPosition = HPoint(handle);
  input.poleVector = HVector(0.0, 0.0, 1.0);
  input.twist = 0.3;
  return input;
}

void BM_KernelSolve(benchmark::State& state) {
  const veltraKernelInput input = benchInput(unsigned(state.range(0)), Placement(state.range(1)));
  for (auto _ : state) {
    const veltraKernelResult result = veltraKernel::solve(input);
    benchmark::DoNotOptimize(result.bend.angles[0]);
  }
}
BENCHMARK(BM_KernelSolve)
    ->ArgNames({"entries", "placement"})
    ->ArgsProduct({{3, 4, 6, 10, 20}, {kReachable, kFolded, kOutOfReach}})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
