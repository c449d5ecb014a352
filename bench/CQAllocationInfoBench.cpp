#include <QuarnLogging/CQAllocationInfo.h>

#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using Quarn::Logging::CQAllocationInfo;

namespace {

constexpr unsigned int OBJECT_SIZE = 64; // bytes

/// The sites of a program: ten lines in each file, file names as a compiler passes them.
struct SSites
{
    explicit SSites(std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i) {
            list.emplace_back(L"src/control/axis/module" + std::to_wstring(i / 10) + L".cpp",
                              static_cast<unsigned int>(100 + i % 10 * 7));
        }
    }

    std::vector<std::pair<std::wstring, unsigned int>> list;
};

/// Addresses only: nothing is selected for a dump, so the registry never looks there.
void* AddressOf(std::size_t object) { return reinterpret_cast<void*>(0x10000 + object * OBJECT_SIZE); }

/// A registry with so many live objects, spread evenly over the sites.
std::unique_ptr<CQAllocationInfo> MakeRegistry(const SSites& sites, std::size_t objects)
{
    auto registry = std::make_unique<CQAllocationInfo>();
    registry->EnableAddInfo(true);
    for (std::size_t i = 0; i < objects; ++i) {
        const auto& [file, line] = sites.list[i % sites.list.size()];
        registry->AddInfo(file.c_str(), line, AddressOf(2 * i), OBJECT_SIZE); // gaps are for those that come and go
    }
    return registry;
}

/// One object comes and goes: at random sites and at random places among the live objects, drawn before the timing.
void AddAndRemove(benchmark::State& state, CQAllocationInfo& registry, const SSites& sites, std::size_t objects)
{
    std::mt19937 random(1);
    std::vector<std::pair<std::size_t, void*>> draws(4096);
    for (auto& [site, object] : draws) {
        site = random() % sites.list.size();
        object = AddressOf(2 * (random() % objects) + 1);
    }
    std::size_t i = 0;
    for (auto _ : state) {
        const auto& [site, object] = draws[i];
        i = (i + 1) % draws.size();
        registry.AddInfo(sites.list[site].first.c_str(), sites.list[site].second, object, OBJECT_SIZE);
        registry.TryRemoveInfo(object);
    }
}

void RecordingOff(benchmark::State& state)
{
    const SSites sites(10);
    CQAllocationInfo registry;
    AddAndRemove(state, registry, sites, 10);
}

void RecordingOn(benchmark::State& state)
{
    const SSites sites(static_cast<std::size_t>(state.range(1)));
    const auto objects = static_cast<std::size_t>(state.range(0));
    const auto registry = MakeRegistry(sites, objects);
    AddAndRemove(state, *registry, sites, objects);
}

// The C library takes locks at a discount while a process has never had a second thread. Those that use the registry
// have.
[[maybe_unused]] const bool g_HasHadThreads = (std::thread([] {}).join(), true);

BENCHMARK(RecordingOff);
BENCHMARK(RecordingOn)->ArgNames({"objects", "sites"})->ArgsProduct({{10, 10000, 1000000}, {10, 1000}});

} // namespace
