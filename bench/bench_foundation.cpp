// Costs of the value-type operations the solver leans on in its inner loops.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "HEulerRotation.h"
#include "HMatrix.h"
#include "HQuaternion.h"
#include "HTransformationMatrix.h"

namespace {

constexpr int kCount = 256;  // inputs cycled through, so nothing folds to a constant

std::vector<HQuaternion> randomQuaternions() {
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<HQuaternion> qs;
  for (int i = 0; i < kCount; ++i)
    qs.emplace_back(3.0 * u(rng), HVector(u(rng), u(rng), u(rng)));
  return qs;
}

std::vector<HMatrix> randomTransforms() {
  std::mt19937 rng(6);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<HMatrix> ms;
  for (const HQuaternion& q : randomQuaternions()) {
    HMatrix m = q.asMatrix();
    for (int c = 0; c < 3; ++c) {
      m.matrix[0][c] *= 1.5;
      m.matrix[3][c] = 10.0 * u(rng);
    }
    ms.push_back(m);
  }
  return ms;
}

void BM_QuaternionAsMatrix(benchmark::State& state) {
  const auto qs = randomQuaternions();
  int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(qs[i].asMatrix());
    i = (i + 1) % kCount;
  }
}
BENCHMARK(BM_QuaternionAsMatrix);

void BM_MatrixProduct(benchmark::State& state) {
  const auto ms = randomTransforms();
  int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ms[i] * ms[(i + 1) % kCount]);
    i = (i + 1) % kCount;
  }
}
BENCHMARK(BM_MatrixProduct);

void BM_MatrixInverse(benchmark::State& state) {
  const auto ms = randomTransforms();
  int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ms[i].inverse());
    i = (i + 1) % kCount;
  }
}
BENCHMARK(BM_MatrixInverse);

void BM_EulerDecompose(benchmark::State& state) {
  const auto ms = randomTransforms();
  int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(HEulerRotation::decompose(ms[i], HEulerRotation::kZXY));
    i = (i + 1) % kCount;
  }
}
BENCHMARK(BM_EulerDecompose);

void BM_EulerAsMatrix(benchmark::State& state) {
  std::vector<HEulerRotation> es;
  for (const HQuaternion& q : randomQuaternions())
    es.push_back(q.asEulerRotation());
  int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(es[i].asMatrix());
    i = (i + 1) % kCount;
  }
}
BENCHMARK(BM_EulerAsMatrix);

// The solver's simulation step: a world matrix decomposed, rotated in object
// space and composed again.
void BM_TransformationRotateByAsMatrix(benchmark::State& state) {
  const auto ms = randomTransforms();
  const auto qs = randomQuaternions();
  int i = 0;
  for (auto _ : state) {
    HTransformationMatrix tm(ms[i]);
    tm.rotateBy(qs[i], HSpace::kObject);
    benchmark::DoNotOptimize(tm.asMatrix());
    i = (i + 1) % kCount;
  }
}
BENCHMARK(BM_TransformationRotateByAsMatrix);

// The same with the Euler angles read back, as a host storing the rotation
// does.
void BM_TransformationRotateByEuler(benchmark::State& state) {
  const auto qs = randomQuaternions();
  HTransformationMatrix base;
  const double angles[3] = {0.3, -1.2, 2.0};
  base.setRotation(angles, HTransformationMatrix::kXYZ);
  int i = 0;
  for (auto _ : state) {
    HTransformationMatrix tm = base;
    tm.rotateBy(qs[i], HSpace::kObject);
    benchmark::DoNotOptimize(tm.eulerRotation());
    i = (i + 1) % kCount;
  }
}
BENCHMARK(BM_TransformationRotateByEuler);

}  // namespace
