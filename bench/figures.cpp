#include "figures.h"

#include <cstdio>

namespace
{

std::string inUnits(double nanoseconds)
{
    char text[32];
    if (nanoseconds < 1e3)
        std::snprintf(text, sizeof text, "%.1f ns", nanoseconds);
    else if (nanoseconds < 1e6)
        std::snprintf(text, sizeof text, "%.1f us", nanoseconds / 1e3);
    else
        std::snprintf(text, sizeof text, "%.2f ms", nanoseconds / 1e6);
    return text;
}

/// Why a run failed, or null. Google Benchmark renamed both members in 1.8; each overload is for
/// the releases that have those it names.
template <typename RunBefore18>
auto failureOf(const RunBefore18& run) -> decltype(run.error_occurred, run.error_message.c_str())
{
    return run.error_occurred ? run.error_message.c_str() : nullptr;
}

template <typename RunSince18>
auto failureOf(const RunSince18& run) -> decltype(run.skip_message.c_str())
{
    return run.skipped ? run.skip_message.c_str() : nullptr;
}

}  // namespace

bool FigureReporter::ReportContext(const Context& context)
{
    std::printf("%d processors, %.0f MHz\n\n", context.cpu_info.num_cpus,
                context.cpu_info.cycles_per_second / 1e6);
    return true;
}

void FigureReporter::ReportRuns(const std::vector<Run>& runs)
{
    for (const Run& run : runs) {
        if (const char* failure = failureOf(run)) {
            m_hasFailed = true;
            std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(), failure);
        }
        if (run.aggregate_name != "median") continue;
        const std::string& name = run.run_name.function_name;
        const double toNs = 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
        m_nanoseconds[name] = run.GetAdjustedRealTime() * toNs;
        m_nanoseconds[name + "/cpu"] = run.GetAdjustedCPUTime() * toNs;
    }
}

void FigureReporter::printTable(const std::vector<Figure>& figures) const
{
    std::printf("%-34s %11s   %-26s %11s %7s  %s\n", "figure (median)", "measured", "beside", "",
                "ratio", "target");
    for (const Figure& figure : figures) {
        const auto measured = m_nanoseconds.find(figure.benchmark);
        if (measured == m_nanoseconds.end()) continue;
        double reference = figure.referenceNs;
        if (figure.reference != nullptr) {
            const auto found = m_nanoseconds.find(figure.reference);
            if (found == m_nanoseconds.end()) continue;
            reference = found->second;
        }
        std::printf("%-34s %11s   %-26s %11s %7.3f  %s\n", figure.name,
                    inUnits(measured->second).c_str(), figure.beside, inUnits(reference).c_str(),
                    measured->second / reference, figure.target);
    }
}
