// SPDX-License-Identifier: Apache-2.0
// What a configuration costs by the length of its lists: to the service that reads it, and to who
// checks it. Per entry both should cost the same at either end.
#include <android-base/file.h>
#include <android/log.h>
#include <benchmark/benchmark.h>

#include <string>

#include "common/Paths.h"
#include "config/ConfigTables.h"
#include "config/XmlParser.h"
#include "tools/config/ConfigChecker.h"
#include "tools/config/ConfigDocument.h"

namespace KVT {
namespace {

/** A file with so many package entries, none of which covers another. */
class ConfigFile {
  public:
    explicit ConfigFile(int64_t entries) {
        std::string text =
            R"(<?xml version="1.0"?><Config><Params name="dynamic_fps_config">)"
            R"(<Param name="application_list"><list name="app_pkg_perceptible_list">)";
        for (int64_t i = 0; i < entries; ++i) {
            text += "<pkg>com.example.app" + std::to_string(1'000'000 + i) + "</pkg>\n";
        }
        android::base::WriteStringToFile(text + "</list></Param></Params></Config>", path());
    }

    std::string path() const { return mFile.path; }

  private:
    TemporaryFile mFile;
};

void PerEntry(benchmark::State& state) {
    state.counters["per_entry"] = benchmark::Counter(
        static_cast<double>(state.range(0)),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_Load(benchmark::State& state) {
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    const ConfigFile file(state.range(0));
    SetPaths({file.path(), "/dev/null"});
    for (auto _ : state) {
        PolicyConfig::tables = {};
        XmlParser::ParseXmlConfigFile();
    }
    const auto& list = PolicyConfig::tables.appPkgFilterMap["app_pkg_perceptible_list"];
    if (list.size() != static_cast<size_t>(state.range(0))) {
        state.SkipWithError("the list was not read");
    }
    PerEntry(state);
}
BENCHMARK(BM_Load)->Arg(10)->Arg(100'000)->Unit(benchmark::kMicrosecond);

void BM_Check(benchmark::State& state) {
    const ConfigFile file(state.range(0));
    size_t findings = 0;
    for (auto _ : state) {
        ConfigDocument document;
        findings += document.load(file.path()) ? ConfigChecker::Check(document).size() : 1;
    }
    if (findings > 0) {
        state.SkipWithError("the file has findings");
    }
    PerEntry(state);
}
BENCHMARK(BM_Check)->Arg(10)->Arg(100'000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace KVT
