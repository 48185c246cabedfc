// XML parsing and writing: CXMLParser beside pugixml and tinyxml2.
//
// Documents: a ~3 KB configuration-like file (attributes only, tab-indented)
// and a ~5 MB file of 50,000 elements with attributes and text. Parsing
// starts from UTF-8 bytes for every library; "Widen" is the UTF-8 to UTF-16
// step alone and "TrellString" the parse of text that is already UTF-16.
// The configuration document is parsed 10,000 times per repetition.
// "Build" creates the configuration tree through each library's API and
// writes it tab-indented to a string.

#include <document/CXMLElement.h>
#include <document/CXMLParser.h>
#include <text/CStringConverter.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#ifdef ECS_BENCH_PUGIXML
#include <pugixml.hpp>
#endif
#ifdef ECS_BENCH_TINYXML2
#include <tinyxml2.h>
#endif

using namespace Trell;

namespace {

struct tagNode
{
    int iLevel;
    std::string strName;
    std::vector<std::pair<std::string, std::string>> attributes;
};

std::vector<tagNode> configNodes()
{
    std::vector<tagNode> nodes;
    nodes.push_back({0, "trell_config", {{"version", "3"}, {"project", "cluster_hmi"}}});
    nodes.push_back({1, "log", {{"file", "log/trell_engine.log"}, {"max_size", "1048576"}, {"terminal", "true"}}});
    nodes.push_back({2, "log_level", {{"info", "true"}, {"warning", "true"}, {"error", "true"}, {"debug", "false"}}});
    nodes.push_back({2, "log_output", {{"console", "true"}, {"file", "true"}, {"remote", "false"}}});
    nodes.push_back({1, "surfaces", {{"count", "3"}}});
    const char* surfaces[] = {"main", "cluster", "hud"};
    for (int i = 0; i < 3; ++i)
        nodes.push_back({2,
                         "surface",
                         {{"id", std::to_string(i)},
                          {"name", surfaces[i]},
                          {"x", "0"},
                          {"y", "0"},
                          {"width", "1920"},
                          {"height", "720"},
                          {"layer", std::to_string(i)},
                          {"display", "0"},
                          {"visible", "true"},
                          {"format", "ARGB8888"}}});
    nodes.push_back({1, "threads", {}});
    const char* threads[] = {"tm", "dt", "sm", "ap", "ld", "rd"};
    for (int i = 0; i < 6; ++i)
        nodes.push_back(
            {2,
             "thread",
             {{"name", threads[i]}, {"priority", std::to_string(51 + i)}, {"stack_size", "65536"}, {"cpu", "0x3"}}});
    nodes.push_back({1,
                     "touch",
                     {{"repeat_delay", "500"},
                      {"repeat_interval", "100"},
                      {"move_threshold", "8"},
                      {"long_press", "800"},
                      {"enable", "true"}}});
    nodes.push_back(
        {1, "gesture", {{"swipe_distance", "50"}, {"swipe_time", "300"}, {"pinch", "true"}, {"rotate", "false"}}});
    nodes.push_back(
        {1,
         "fonts",
         {{"default", "NotoSans"}, {"size", "24"}, {"auto_hinting", "true"}, {"support_complex_language", "false"}}});
    const char* fonts[] = {"NotoSans", "NotoSansCJK", "NotoSerif", "DejaVuSans", "Roboto", "RobotoMono"};
    for (int i = 0; i < 6; ++i)
        nodes.push_back(
            {2,
             "font",
             {{"name", fonts[i]}, {"path", std::string("fonts/") + fonts[i] + "-Regular.ttf"}, {"cache", "true"}}});
    nodes.push_back({1, "screens", {{"start", "home"}, {"transition", "fade"}}});
    const char* screens[] = {"home", "media", "navigation", "phone", "climate", "settings", "vehicle", "camera"};
    for (int i = 0; i < 8; ++i)
        nodes.push_back({2,
                         "screen",
                         {{"name", screens[i]},
                          {"file", std::string("screens/") + screens[i] + ".xml"},
                          {"surface", std::to_string(i % 3)},
                          {"preload", i < 3 ? "true" : "false"},
                          {"timeout", std::to_string(1000 * i)}}});
    nodes.push_back(
        {1, "paths", {{"project", "/opt/trell/project"}, {"resource", "res"}, {"cache", "/tmp/trell_cache"}}});
    nodes.push_back({1, "memory", {{"pool_size", "33554432"}, {"checking", "false"}, {"report", "memory_report.txt"}}});
    return nodes;
}

std::string toText(const std::vector<tagNode>& nodes)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    std::vector<std::string> open;
    for (size_t i = 0; i < nodes.size(); ++i) {
        const tagNode& n = nodes[i];
        while ((int)open.size() > n.iLevel) {
            text += std::string(open.size() - 1, '\t') + "</" + open.back() + ">\n";
            open.pop_back();
        }
        text += std::string(n.iLevel, '\t') + "<" + n.strName;
        for (auto& a : n.attributes)
            text += " " + a.first + "=\"" + a.second + "\"";
        bool hasChildren = i + 1 < nodes.size() && nodes[i + 1].iLevel > n.iLevel;
        if (hasChildren) {
            text += ">\n";
            open.push_back(n.strName);
        } else {
            text += "/>\n";
        }
    }
    while (!open.empty()) {
        text += std::string(open.size() - 1, '\t') + "</" + open.back() + ">\n";
        open.pop_back();
    }
    return text;
}

std::string bigText()
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<items count=\"50000\">\n";
    for (int i = 0; i < 50000; ++i) {
        std::string id = std::to_string(i);
        text += "\t<item id=\"" + id + "\" name=\"item_" + id + "\" value=\"3.14159\" flag=\"true\">text of item " +
                id + " &amp; more</item>\n";
    }
    text += "</items>\n";
    return text;
}

const std::string& configText()
{
    static const std::string text = toText(configNodes());
    return text;
}

const std::string& largeText()
{
    static const std::string text = bigText();
    return text;
}

std::u16string widen(const std::string& s)
{
    return std::u16string(s.begin(), s.end());
}

void setBytes(benchmark::State& state, const std::string& text)
{
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text.size()));
    state.counters["doc_bytes"] = double(text.size());
}

// ---- Parsing ----------------------------------------------------------------

void parseTrell(benchmark::State& state, const std::string& text)
{
    CXMLParser parser;
    for (auto _ : state) {
        bool ok = parser.parseFromStream(reinterpret_cast<const unsigned char*>(text.c_str()));
        benchmark::DoNotOptimize(ok);
        if (!ok)
            state.SkipWithError("parse failed");
    }
    setBytes(state, text);
}

void parseTrellString(benchmark::State& state, const std::string& text)
{
    CString wide;
    CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(text.c_str()), wide);
    CXMLParser parser;
    for (auto _ : state) {
        bool ok = parser.parseFromString(wide);
        benchmark::DoNotOptimize(ok);
    }
    setBytes(state, text);
}

void widenOnly(benchmark::State& state, const std::string& text)
{
    for (auto _ : state) {
        CString wide;
        CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(text.c_str()), wide);
        benchmark::DoNotOptimize(wide.buffer());
    }
    setBytes(state, text);
}

#ifdef ECS_BENCH_PUGIXML
void parsePugi(benchmark::State& state, const std::string& text)
{
    pugi::xml_document doc;
    for (auto _ : state) {
        pugi::xml_parse_result result = doc.load_buffer(text.data(), text.size());
        benchmark::DoNotOptimize(result.status);
    }
    setBytes(state, text);
}
#endif

#ifdef ECS_BENCH_TINYXML2
void parseTiny(benchmark::State& state, const std::string& text)
{
    tinyxml2::XMLDocument doc;
    for (auto _ : state) {
        tinyxml2::XMLError error = doc.Parse(text.data(), text.size());
        benchmark::DoNotOptimize(error);
    }
    setBytes(state, text);
}
#endif

void BM_Config_Parse_Trell(benchmark::State& s)
{
    parseTrell(s, configText());
}
void BM_Config_Parse_TrellString(benchmark::State& s)
{
    parseTrellString(s, configText());
}
void BM_Config_Widen(benchmark::State& s)
{
    widenOnly(s, configText());
}
void BM_Large_Parse_Trell(benchmark::State& s)
{
    parseTrell(s, largeText());
}
void BM_Large_Parse_TrellString(benchmark::State& s)
{
    parseTrellString(s, largeText());
}
void BM_Large_Widen(benchmark::State& s)
{
    widenOnly(s, largeText());
}
BENCHMARK(BM_Config_Parse_Trell)->Iterations(10000)->Repetitions(5);
BENCHMARK(BM_Config_Parse_TrellString)->Iterations(10000)->Repetitions(5);
BENCHMARK(BM_Config_Widen);
#ifdef ECS_BENCH_PUGIXML
void BM_Config_Parse_Pugixml(benchmark::State& s)
{
    parsePugi(s, configText());
}
void BM_Large_Parse_Pugixml(benchmark::State& s)
{
    parsePugi(s, largeText());
}
BENCHMARK(BM_Config_Parse_Pugixml)->Iterations(10000)->Repetitions(5);
#endif
#ifdef ECS_BENCH_TINYXML2
void BM_Config_Parse_Tinyxml2(benchmark::State& s)
{
    parseTiny(s, configText());
}
void BM_Large_Parse_Tinyxml2(benchmark::State& s)
{
    parseTiny(s, largeText());
}
BENCHMARK(BM_Config_Parse_Tinyxml2)->Iterations(10000)->Repetitions(5);
#endif
BENCHMARK(BM_Large_Parse_Trell)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Large_Parse_TrellString)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Large_Widen)->Unit(benchmark::kMillisecond);
#ifdef ECS_BENCH_PUGIXML
BENCHMARK(BM_Large_Parse_Pugixml)->Unit(benchmark::kMillisecond);
#endif
#ifdef ECS_BENCH_TINYXML2
BENCHMARK(BM_Large_Parse_Tinyxml2)->Unit(benchmark::kMillisecond);
#endif

// ---- Build and write ----------------------------------------------------------

struct tagWideNode
{
    int iLevel;
    std::u16string strName;
    std::vector<std::pair<std::u16string, std::u16string>> attributes;
};

const std::vector<tagWideNode>& wideNodes()
{
    static const std::vector<tagWideNode> nodes = [] {
        std::vector<tagWideNode> result;
        for (const tagNode& n : configNodes()) {
            tagWideNode w{n.iLevel, widen(n.strName), {}};
            for (auto& a : n.attributes)
                w.attributes.push_back({widen(a.first), widen(a.second)});
            result.push_back(w);
        }
        return result;
    }();
    return nodes;
}

void BM_Config_Build_Trell(benchmark::State& state)
{
    const std::vector<tagWideNode>& nodes = wideNodes();
    size_t bytes = 0;
    for (auto _ : state) {
        CXMLParser parser;
        parser.create(CXMLParser::XML_ENCODING_UTF8);
        CXMLElement* stack[8] = {};
        for (const tagWideNode& n : nodes) {
            CXMLElement* e = n.iLevel == 0 ? parser.addRootElement(n.strName.c_str())
                                           : stack[n.iLevel - 1]->addChild(n.strName.c_str());
            for (auto& a : n.attributes)
                e->setAttribute(a.first.c_str(), a.second.c_str());
            stack[n.iLevel] = e;
        }
        CString out;
        parser.saveToString(out, true);
        bytes = out.length();
        benchmark::DoNotOptimize(out.buffer());
    }
    state.counters["doc_units"] = double(bytes);
}
BENCHMARK(BM_Config_Build_Trell);

#ifdef ECS_BENCH_PUGIXML
struct StringWriter : pugi::xml_writer
{
    std::string text;
    void write(const void* data, size_t size) override { text.append(static_cast<const char*>(data), size); }
};

void BM_Config_Build_Pugixml(benchmark::State& state)
{
    const std::vector<tagNode> nodes = configNodes();
    size_t bytes = 0;
    for (auto _ : state) {
        pugi::xml_document doc;
        pugi::xml_node stack[8];
        for (const tagNode& n : nodes) {
            pugi::xml_node parent = n.iLevel == 0 ? pugi::xml_node(doc) : stack[n.iLevel - 1];
            pugi::xml_node e = parent.append_child(n.strName.c_str());
            for (auto& a : n.attributes)
                e.append_attribute(a.first.c_str()).set_value(a.second.c_str());
            stack[n.iLevel] = e;
        }
        StringWriter writer;
        doc.save(writer, "\t", pugi::format_indent);
        bytes = writer.text.size();
        benchmark::DoNotOptimize(writer.text.data());
    }
    state.counters["doc_bytes"] = double(bytes);
}
BENCHMARK(BM_Config_Build_Pugixml);
#endif

#ifdef ECS_BENCH_TINYXML2
void BM_Config_Build_Tinyxml2(benchmark::State& state)
{
    const std::vector<tagNode> nodes = configNodes();
    size_t bytes = 0;
    for (auto _ : state) {
        tinyxml2::XMLDocument doc;
        doc.InsertEndChild(doc.NewDeclaration());
        tinyxml2::XMLNode* stack[8] = {};
        for (const tagNode& n : nodes) {
            tinyxml2::XMLNode* parent = n.iLevel == 0 ? static_cast<tinyxml2::XMLNode*>(&doc) : stack[n.iLevel - 1];
            tinyxml2::XMLElement* e = doc.NewElement(n.strName.c_str());
            for (auto& a : n.attributes)
                e->SetAttribute(a.first.c_str(), a.second.c_str());
            parent->InsertEndChild(e);
            stack[n.iLevel] = e;
        }
        tinyxml2::XMLPrinter printer;
        doc.Print(&printer);
        bytes = size_t(printer.CStrSize());
        benchmark::DoNotOptimize(printer.CStr());
    }
    state.counters["doc_bytes"] = double(bytes);
}
BENCHMARK(BM_Config_Build_Tinyxml2);
#endif

} // namespace

BENCHMARK_MAIN();
