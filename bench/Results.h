#ifndef QUARN_BENCH_RESULTS_H
#define QUARN_BENCH_RESULTS_H

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace QuarnBench {

inline double Median(std::vector<double> values)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

/// @brief The figures of a program: a table on standard output, and a JSON file for scripts/bench-report.
///
/// Each case has labels, and figures of which every repetition adds one. The median counts, but for those whose name
/// begins with "worst" the largest, and for "count" the sum.
class Results
{
public:
    using Labels = std::vector<std::pair<std::string, std::string>>;

    void Add(const Labels& labels, const std::vector<std::pair<std::string, double>>& figures)
    {
        auto place = std::find_if(m_Cases.begin(), m_Cases.end(), [&](const SCase& c) { return c.labels == labels; });
        if (place == m_Cases.end()) {
            m_Cases.push_back({labels, {}});
            place = m_Cases.end() - 1;
        }
        for (const auto& [name, value] : figures) {
            auto& all = place->figures;
            auto figure = std::find_if(all.begin(), all.end(), [&n = name](const auto& f) { return f.first == n; });
            if (figure == all.end()) {
                all.push_back({name, {}});
                figure = all.end() - 1;
            }
            figure->second.push_back(value);
        }
    }

    /// A sentence that belongs to the figures, such as why there are none.
    void Note(const std::string& text) { m_Notes.push_back(text); }

    void Print() const
    {
        for (const SCase& one : m_Cases) {
            std::string name;
            for (const auto& label : one.labels) {
                name += (name.empty() ? "" : ", ") + label.second;
            }
            std::printf("%-52s", name.c_str());
            for (const auto& [figure, values] : one.figures) {
                std::printf("  %s %.4g", figure.c_str(), Typical(figure, values));
            }
            std::printf("\n");
        }
        for (const std::string& note : m_Notes) {
            std::printf("%s\n", note.c_str());
        }
    }

    /// False if the file cannot be written. No file is asked for with an empty name.
    [[nodiscard]] bool Write(const std::string& fileName) const
    {
        if (fileName.empty()) {
            return true;
        }
        std::FILE* const file = std::fopen(fileName.c_str(), "w");
        if (file == nullptr) {
            std::perror(fileName.c_str());
            return false;
        }
        std::fprintf(file, "{\"bits\": %zu,\n\"notes\": [", sizeof(void*) * 8);
        for (std::size_t i = 0; i < m_Notes.size(); ++i) {
            std::fprintf(file, "%s\"%s\"", i == 0 ? "" : ", ", m_Notes[i].c_str());
        }
        std::fprintf(file, "],\n\"results\": [\n");
        for (std::size_t i = 0; i < m_Cases.size(); ++i) {
            WriteCase(file, m_Cases[i]);
            std::fprintf(file, i + 1 == m_Cases.size() ? "\n" : ",\n");
        }
        std::fprintf(file, "]}\n");
        return std::fclose(file) == 0;
    }

private:
    struct SCase
    {
        Labels labels;
        std::vector<std::pair<std::string, std::vector<double>>> figures;
    };

    static double Typical(const std::string& figure, const std::vector<double>& values)
    {
        if (figure.compare(0, 5, "worst") == 0) {
            return *std::max_element(values.begin(), values.end());
        }
        return figure.compare(0, 5, "count") == 0 ? std::accumulate(values.begin(), values.end(), 0.0) : Median(values);
    }

    static void WriteCase(std::FILE* file, const SCase& one)
    {
        std::fprintf(file, "{");
        for (const auto& [key, value] : one.labels) {
            std::fprintf(file, "\"%s\": \"%s\", ", key.c_str(), value.c_str());
        }
        for (const auto& [figure, values] : one.figures) {
            std::fprintf(file, "\"%s\": %.6g, ", figure.c_str(), Typical(figure, values));
        }
        const std::size_t repetitions = one.figures.empty() ? 0 : one.figures.front().second.size();
        std::fprintf(file, "\"repetitions\": %zu}", repetitions);
    }

    std::vector<SCase> m_Cases;
    std::vector<std::string> m_Notes;
};

} // namespace QuarnBench

#endif
