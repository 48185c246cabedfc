// The geometry hot paths beside GLM in one program, built with the same
// flags, so that each figure reads as a ratio of one run:
//
//   Multiply4x4  - 1024 products a[i] * b[i];
//   Inverse4x4   - 1024 inverses (the library also checks for singularity);
//   Transform    - 1M points through one affine matrix (CMatrix4::transformPoints
//                  against GLM's vec3(m * vec4(p, 1)) loop);
//   RayBox       - the nearest of 1M boxes hit by one ray (CHitTest::rayNearestBox
//                  against a slab test written with GLM's vector functions, as
//                  GLM has no ray-box test of its own).
//
// No -march flags: on x86-64 both sides get the SSE2 baseline.
#include <math/CHitTest.h>
#include <math/CMatrix4.h>

#include <benchmark/benchmark.h>

#include <glm/glm.hpp>

#include <cstring>
#include <limits>
#include <random>
#include <vector>

using namespace Trell;

namespace {

constexpr int MATRICES = 1024;
constexpr int POINTS = 1 << 20;

std::mt19937& engine()
{
    static std::mt19937 s_engine(42);
    return s_engine;
}

float next(float low, float high)
{
    return std::uniform_real_distribution<float>(low, high)(engine());
}

// Diagonally dominant, hence invertible for both sides.
std::vector<CMatrix4> matrices()
{
    std::vector<CMatrix4> out(MATRICES);
    for (CMatrix4& m : out) {
        for (int i = 0; i < 16; ++i)
            m.getData()[i] = next(-1.0f, 1.0f) + (i % 5 == 0 ? 5.0f : 0.0f);
    }
    return out;
}

std::vector<glm::mat4> toGlm(const std::vector<CMatrix4>& in)
{
    std::vector<glm::mat4> out(in.size());
    std::memcpy(out.data(), in.data(), in.size() * sizeof(glm::mat4));
    return out;
}

const std::vector<CMatrix4>& left()
{
    static const std::vector<CMatrix4> s_values = matrices();
    return s_values;
}

const std::vector<CMatrix4>& right()
{
    static const std::vector<CMatrix4> s_values = matrices();
    return s_values;
}

const std::vector<CVector3>& points()
{
    static const std::vector<CVector3> s_points = [] {
        std::vector<CVector3> p(POINTS);
        for (CVector3& v : p)
            v = CVector3(next(-100.0f, 100.0f), next(-100.0f, 100.0f), next(-100.0f, 100.0f));
        return p;
    }();
    return s_points;
}

// Small boxes scattered in a cube; the ray crosses the cube diagonally.
const std::vector<CBox>& boxes()
{
    static const std::vector<CBox> s_boxes = [] {
        std::vector<CBox> b;
        b.reserve(POINTS);
        for (int i = 0; i < POINTS; ++i) {
            const CVector3 corner(next(-100.0f, 100.0f), next(-100.0f, 100.0f), next(-100.0f, 100.0f));
            b.emplace_back(corner, corner + CVector3(next(0.1f, 2.0f), next(0.1f, 2.0f), next(0.1f, 2.0f)));
        }
        return b;
    }();
    return s_boxes;
}

const CRay RAY(CVector3(-120.0f, -110.0f, -115.0f), CVector3(1.0f, 0.93f, 0.97f));

void BM_Multiply4x4_Trell(benchmark::State& state)
{
    const std::vector<CMatrix4>&a = left(), &b = right();
    std::vector<CMatrix4> out(MATRICES);
    for (auto _ : state) {
        for (int i = 0; i < MATRICES; ++i)
            out[i] = a[i] * b[i];
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * MATRICES);
}

void BM_Multiply4x4_Glm(benchmark::State& state)
{
    const std::vector<glm::mat4> a = toGlm(left()), b = toGlm(right());
    std::vector<glm::mat4> out(MATRICES);
    for (auto _ : state) {
        for (int i = 0; i < MATRICES; ++i)
            out[i] = a[i] * b[i];
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * MATRICES);
}

void BM_Inverse4x4_Trell(benchmark::State& state)
{
    const std::vector<CMatrix4>& a = left();
    std::vector<CMatrix4> out(MATRICES);
    for (auto _ : state) {
        for (int i = 0; i < MATRICES; ++i)
            benchmark::DoNotOptimize(a[i].getInverse(out[i]));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * MATRICES);
}

void BM_Inverse4x4_Glm(benchmark::State& state)
{
    const std::vector<glm::mat4> a = toGlm(left());
    std::vector<glm::mat4> out(MATRICES);
    for (auto _ : state) {
        for (int i = 0; i < MATRICES; ++i)
            out[i] = glm::inverse(a[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * MATRICES);
}

CMatrix4 affine()
{
    CMatrix4 m;
    m.setTranslation(CVector3(3.0f, -2.0f, 7.0f));
    m.rotate(0.7f, CVector3(1.0f, 2.0f, 3.0f));
    m.scale(CVector3(1.5f, 0.5f, 2.0f));
    return m;
}

void BM_Transform1M_Trell(benchmark::State& state)
{
    const CMatrix4 m = affine();
    const std::vector<CVector3>& in = points();
    std::vector<CVector3> out(POINTS);
    for (auto _ : state) {
        m.transformPoints(in.data(), out.data(), POINTS);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * POINTS);
}

void BM_Transform1M_Glm(benchmark::State& state)
{
    glm::mat4 m;
    const CMatrix4 source = affine();
    std::memcpy(&m[0][0], source.getData(), sizeof(m));
    std::vector<glm::vec3> in(POINTS), out(POINTS);
    std::memcpy(in.data(), points().data(), POINTS * sizeof(glm::vec3));
    for (auto _ : state) {
        for (int i = 0; i < POINTS; ++i)
            out[i] = glm::vec3(m * glm::vec4(in[i], 1.0f));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * POINTS);
}

void BM_RayBox1M_Trell(benchmark::State& state)
{
    const std::vector<CBox>& b = boxes();
    float t = 0.0f;
    for (auto _ : state) {
        benchmark::DoNotOptimize(CHitTest::rayNearestBox(RAY, b.data(), POINTS, t));
        benchmark::DoNotOptimize(t);
    }
    state.SetItemsProcessed(state.iterations() * POINTS);
}

struct tagGlmBox
{
    glm::vec3 lo, hi;
};

void BM_RayBox1M_Glm(benchmark::State& state)
{
    std::vector<tagGlmBox> b(POINTS);
    std::memcpy(b.data(), boxes().data(), POINTS * sizeof(tagGlmBox));
    const glm::vec3 o(RAY.getOrigin().x, RAY.getOrigin().y, RAY.getOrigin().z);
    const glm::vec3 inv = 1.0f / glm::vec3(RAY.getDirection().x, RAY.getDirection().y, RAY.getDirection().z);
    for (auto _ : state) {
        int nearest = -1;
        float best = std::numeric_limits<float>::infinity();
        for (int i = 0; i < POINTS; ++i) {
            const glm::vec3 t1 = (b[i].lo - o) * inv, t2 = (b[i].hi - o) * inv;
            const glm::vec3 lo = glm::min(t1, t2), hi = glm::max(t1, t2);
            const float tNear = glm::max(glm::max(lo.x, lo.y), glm::max(lo.z, 0.0f));
            const float tFar = glm::min(glm::min(hi.x, hi.y), hi.z);
            if (tNear <= tFar && tNear < best) {
                best = tNear;
                nearest = i;
            }
        }
        benchmark::DoNotOptimize(nearest);
        benchmark::DoNotOptimize(best);
    }
    state.SetItemsProcessed(state.iterations() * POINTS);
}

} // namespace

static_assert(sizeof(CBox) == sizeof(tagGlmBox) && sizeof(CVector3) == sizeof(glm::vec3) &&
              sizeof(CMatrix4) == sizeof(glm::mat4));

BENCHMARK(BM_Multiply4x4_Trell);
BENCHMARK(BM_Multiply4x4_Glm);
BENCHMARK(BM_Inverse4x4_Trell);
BENCHMARK(BM_Inverse4x4_Glm);
BENCHMARK(BM_Transform1M_Trell);
BENCHMARK(BM_Transform1M_Glm);
BENCHMARK(BM_RayBox1M_Trell);
BENCHMARK(BM_RayBox1M_Glm);

BENCHMARK_MAIN();
