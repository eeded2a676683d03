// Principal stresses of a million tensors, beside another library's solvers, which take them one at a time, and a
// memory copy of as many bytes as are read and written.
#include <benchmark/benchmark.h>

#include <Eigen/Eigenvalues>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "modules/zam/tensor/principal_stress.h"

namespace {

std::vector<float> make_tensors(std::size_t count) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> stress(-1.0F, 1.0F);
    std::vector<float> tensors(6 * count);
    for (float& value : tensors) value = stress(random);
    return tensors;
}

template <class T>
using Matrix = Eigen::Matrix<T, 3, 3>;

template <class T>
Matrix<T> matrix_of(const float* t) {
    Matrix<T> matrix;
    matrix << T(t[0]), T(t[3]), T(t[5]), T(t[3]), T(t[1]), T(t[4]), T(t[5]), T(t[4]), T(t[2]);
    return matrix;
}

void set_rate(benchmark::State& state) {
    state.counters["tensors/s"] =
        benchmark::Counter(static_cast<double>(state.range(0)), benchmark::Counter::kIsIterationInvariantRate);
}

void principal_stresses(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const auto tensors = make_tensors(count);
    std::vector<float> values(3 * count);
    std::vector<float> axes(9 * count);
    for (auto _ : state) zam::principal_stresses(tensors, values, axes);
    for (std::size_t n = 0; n < count; ++n) {
        const Eigen::SelfAdjointEigenSolver<Matrix<double>> solver(matrix_of<double>(&tensors[6 * n]));
        const double largest = solver.eigenvalues()[2];
        if (!(std::fabs(largest - static_cast<double>(values[3 * n])) < 1e-6)) state.SkipWithError("wrong value");
    }
    set_rate(state);
}

/// Another library's solution in closed form, which is less exact than ours.
template <class T>
void eigen_direct(benchmark::State& state) {
    const auto tensors = make_tensors(static_cast<std::size_t>(state.range(0)));
    Eigen::SelfAdjointEigenSolver<Matrix<T>> solver;
    for (auto _ : state) {
        for (std::size_t n = 0; n < tensors.size(); n += 6)
            benchmark::DoNotOptimize(solver.computeDirect(matrix_of<T>(&tensors[n])).eigenvectors().data());
    }
    set_rate(state);
}

/// The same library's iteration.
void eigen_iterated(benchmark::State& state) {
    const auto tensors = make_tensors(static_cast<std::size_t>(state.range(0)));
    Eigen::SelfAdjointEigenSolver<Matrix<double>> solver;
    for (auto _ : state) {
        for (std::size_t n = 0; n < tensors.size(); n += 6)
            benchmark::DoNotOptimize(solver.compute(matrix_of<double>(&tensors[n])).eigenvectors().data());
    }
    set_rate(state);
}

void memory_copy(benchmark::State& state) {
    const std::size_t values = 9 * static_cast<std::size_t>(state.range(0));  // 6 read, 3 + 9 written
    const std::vector<float> from(values, 1.0F);
    std::vector<float> to(values);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), values * sizeof(float));
        benchmark::ClobberMemory();
    }
    set_rate(state);
}

}  // namespace

BENCHMARK(memory_copy)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(principal_stresses)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(eigen_direct<double>)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(eigen_direct<float>)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(eigen_iterated)->Arg(1000000)->Unit(benchmark::kMillisecond);
