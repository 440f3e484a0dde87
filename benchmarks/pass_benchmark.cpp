#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <benchmark/benchmark.h>

namespace
{

/// Runs the program for one pass over a silent network, from process start to process end, and tells
/// by how much that is longer than the listening windows of its providers.
void passOverSilentNetwork(benchmark::State &state, const char *providers, double windowsMs)
{
    double totalMs = 0;
    for (auto _ : state) {
        QElapsedTimer elapsed;
        elapsed.start();
        QProcess program;
        program.start(QStringLiteral(SONDRIX_PROGRAM),
                      {QStringLiteral("--scan-once"), QStringLiteral("--json"), QStringLiteral("--enable"),
                       QString::fromLatin1(providers)});
        if (!program.waitForFinished() || program.exitStatus() != QProcess::NormalExit ||
            program.exitCode() != 0 || !program.readAllStandardOutput().contains("\"deviceCount\":0,")) {
            state.SkipWithError("the pass failed, or the network is not silent");
            break;
        }
        const double passMs = double(elapsed.nsecsElapsed()) / 1e6;
        state.SetIterationTime(passMs / 1e3);
        totalMs += passMs;
    }
    const auto passes = double(state.iterations());
    state.counters["over_windows_percent"] = (totalMs / passes / windowsMs - 1) * 100;
}
BENCHMARK_CAPTURE(passOverSilentNetwork, mdns, "mdns", 1200.0)->UseManualTime()->Iterations(3);
BENCHMARK_CAPTURE(passOverSilentNetwork, mdns_ssdp, "mdns,ssdp", 2000.0)->UseManualTime()->Iterations(3);

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
