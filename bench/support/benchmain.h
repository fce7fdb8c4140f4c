#pragma once

// The main of a benchmark program: Google Benchmark's run inside a Qt
// application of type App; `prepare` runs once the application exists.

#include <benchmark/benchmark.h>

#include <QCoreApplication>

#include <functional>

namespace bench {

template <typename App = QCoreApplication>
int runBenchmarks(int argc, char** argv, const std::function<void()>& prepare = {})
{
    App app(argc, argv);
    if (prepare)
        prepare();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace bench
