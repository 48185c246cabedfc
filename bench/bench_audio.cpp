// The audio player's command latency and playback cost beside a bare
// GStreamer playbin driven directly, in one program so that every figure is
// a ratio measured in the same run.
//
//   PauseLatency/Player  - CAudioPlayer::pause() on this thread until the
//                          listener hears "paused", which the worker reports
//                          once the pipeline has reached PAUSED; resumed
//                          between commands (not timed);
//   PauseLatency/Playbin - the peer: set_state(PAUSED) on this thread until
//                          get_state reports it, the physical floor of a
//                          pause through GStreamer;
//   PlaybackCpu/Player   - process CPU time (getrusage) per wall second while
//                          the player plays, its progress timer delivered by
//                          a main loop that sleeps until a message comes;
//   PlaybackCpu/Playbin  - the same for the bare playbin.
//
// Flags (before the benchmark's own): --commands=N pauses (default 100),
// --seconds=S of playback for the CPU figures (default 3). The sink is
// ECS_AUDIO_SINK, "fakesink sync=true" when unset (real time, no card).

#include <audio/CAudioPlayer.h>
#include <audio/IAudioPlayerListener.h>
#include <message/CBaseMessage.h>
#include <message/CMessageCenter.h>
#include <message/IMessageCenterListener.h>
#include <text/CString.h>
#include <timer/CTimerManager.h>

#include "BenchCommon.h"

#include <benchmark/benchmark.h>
#include <gst/gst.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>

using namespace Trell;

namespace {

using Clock = std::chrono::steady_clock;

unsigned int g_uiCommands = 100;
unsigned int g_uiSeconds = 3;

double toMs(Clock::duration d)
{
    return std::chrono::duration<double, std::milli>(d).count();
}

// Nearest rank: the smallest value with at least the share p of the values
// at or below it.
double percentile(std::vector<double> values, double p)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const size_t rank = static_cast<size_t>(std::ceil(p * static_cast<double>(values.size())));
    return values[std::min(values.size() - 1, rank > 0 ? rank - 1 : 0)];
}

double cpuSeconds()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// A 40 s tone, long enough for every measurement, made once.
const std::string& mediaFile()
{
    static const std::string s_strFile = [] {
        const std::string strFile = (std::filesystem::temp_directory_path() / "ecs_bench_audio.mp3").string();
        const std::string strPipeline = "audiotestsrc wave=sine num-buffers=400 samplesperbuffer=4410 ! "
                                        "audio/x-raw,rate=44100,channels=2 ! lamemp3enc ! filesink location=\"" +
                                        strFile + "\"";
        GstElement* pPipeline = gst_parse_launch(strPipeline.c_str(), nullptr);
        gst_element_set_state(pPipeline, GST_STATE_PLAYING);
        GstBus* pBus = gst_element_get_bus(pPipeline);
        GstMessage* pMessage = gst_bus_timed_pop_filtered(
            pBus, 60 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
        if (pMessage)
            gst_message_unref(pMessage);
        gst_object_unref(pBus);
        gst_element_set_state(pPipeline, GST_STATE_NULL);
        gst_object_unref(pPipeline);
        return strFile;
    }();
    return s_strFile;
}

CString toCString(const std::string& strAscii)
{
    std::u16string text(strAscii.begin(), strAscii.end());
    return CString(text.c_str());
}

// Wakes a waiter on each status the worker reports.
class CStatusListener : public IAudioPlayerListener
{
public:
    void onPlayStatusChange(IAudioPlayerListener::EPlayStatus eStatus) override
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_eStatus = eStatus;
        m_cond.notify_all();
    }
    bool waitFor(IAudioPlayerListener::EPlayStatus eStatus)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cond.wait_for(lock, std::chrono::seconds(10), [&] { return m_eStatus == eStatus; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    IAudioPlayerListener::EPlayStatus m_eStatus = PLAY_STATUS_STOPPED;
};

// The host's main loop: sleeps until the center announces a message.
class CMainLoop : public IMessageCenterListener
{
public:
    CMainLoop()
    {
        CMessageCenter::getInstance()->setListener(this);
        CTimerManager::getInstance()->start();
        m_thread = std::thread([this] {
            std::unique_lock<std::mutex> lock(m_mutex);
            while (!m_bStop) {
                m_cond.wait(lock, [&] { return m_bStop || m_bAvailable; });
                m_bAvailable = false;
                lock.unlock();
                while (CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage())
                    pMessage->handleMessage();
                lock.lock();
            }
        });
    }
    ~CMainLoop() override
    {
        {
            std::lock_guard<std::mutex> guard(m_mutex);
            m_bStop = true;
            m_cond.notify_all();
        }
        m_thread.join();
        CTimerManager::getInstance()->stop();
        CTimerManager::deleteInstance();
        CMessageCenter::getInstance()->setListener(nullptr);
        CMessageCenter::deleteInstance();
    }
    void onMessageAvailable() override
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_bAvailable = true;
        m_cond.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    bool m_bStop = false;
    bool m_bAvailable = false;
    std::thread m_thread;
};

// The peer: a playbin with the same sink, driven on this thread.
class CPlaybin
{
public:
    CPlaybin()
    {
        m_pPlaybin = gst_element_factory_make("playbin", nullptr);
        gchar* pszUri = gst_filename_to_uri(mediaFile().c_str(), nullptr);
        g_object_set(m_pPlaybin, "uri", pszUri, "flags", 0x12, nullptr);
        g_free(pszUri);
        const char* pszSink = std::getenv("ECS_AUDIO_SINK");
        g_object_set(m_pPlaybin, "audio-sink", gst_parse_bin_from_description(pszSink, TRUE, nullptr), nullptr);
        changeState(GST_STATE_PLAYING);
    }
    ~CPlaybin()
    {
        gst_element_set_state(m_pPlaybin, GST_STATE_NULL);
        gst_object_unref(m_pPlaybin);
    }
    void changeState(GstState eState)
    {
        gst_element_set_state(m_pPlaybin, eState);
        gst_element_get_state(m_pPlaybin, nullptr, nullptr, 10 * GST_SECOND);
    }

private:
    GstElement* m_pPlaybin;
};

std::atomic<double> g_dPeerP50{0};
std::atomic<double> g_dPeerCpu{0};

void reportLatency(benchmark::State& state, const std::vector<double>& latencies)
{
    state.counters["p50_ms"] = percentile(latencies, 0.5);
    state.counters["p99_ms"] = percentile(latencies, 0.99);
    state.counters["commands"] = static_cast<double>(latencies.size());
}

void BM_PauseLatencyPlaybin(benchmark::State& state)
{
    std::vector<double> latencies;
    for (auto _ : state) {
        CPlaybin playbin;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        for (unsigned int i = 0; i < g_uiCommands; ++i) {
            const Clock::time_point start = Clock::now();
            playbin.changeState(GST_STATE_PAUSED);
            latencies.push_back(toMs(Clock::now() - start));
            playbin.changeState(GST_STATE_PLAYING);
        }
    }
    reportLatency(state, latencies);
    g_dPeerP50.store(percentile(latencies, 0.5));
}
BENCHMARK(BM_PauseLatencyPlaybin)->Name("PauseLatency/Playbin")->Iterations(1)->UseRealTime();

void BM_PauseLatencyPlayer(benchmark::State& state)
{
    std::vector<double> latencies;
    for (auto _ : state) {
        CStatusListener listener;
        CAudioPlayer* pPlayer = CAudioPlayer::getInstance();
        pPlayer->setListener(&listener);
        pPlayer->playAudio(toCString(mediaFile()));
        if (!listener.waitFor(IAudioPlayerListener::PLAY_STATUS_PLAYING)) {
            state.SkipWithError("the player did not start");
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        for (unsigned int i = 0; i < g_uiCommands; ++i) {
            const Clock::time_point start = Clock::now();
            pPlayer->pause();
            if (!listener.waitFor(IAudioPlayerListener::PLAY_STATUS_PAUSED))
                break;
            latencies.push_back(toMs(Clock::now() - start));
            pPlayer->resume();
            listener.waitFor(IAudioPlayerListener::PLAY_STATUS_PLAYING);
        }
        pPlayer->stop();
        CAudioPlayer::deleteInstance();
        CTimerManager::deleteInstance();
    }
    reportLatency(state, latencies);
    if (g_dPeerP50.load() > 0)
        state.counters["p50_vs_playbin"] = percentile(latencies, 0.5) / g_dPeerP50.load();
}
BENCHMARK(BM_PauseLatencyPlayer)->Name("PauseLatency/Player")->Iterations(1)->UseRealTime();

// CPU per wall time over the playback, as a share of one core in percent.
template <class TPlay>
double measureCpu(TPlay play)
{
    const double dCpuStart = cpuSeconds();
    const Clock::time_point start = Clock::now();
    play();
    const double dWall = std::chrono::duration<double>(Clock::now() - start).count();
    return 100.0 * (cpuSeconds() - dCpuStart) / dWall;
}

void BM_PlaybackCpuPlaybin(benchmark::State& state)
{
    double dPercent = 0;
    for (auto _ : state) {
        CPlaybin playbin;
        dPercent = measureCpu([] { std::this_thread::sleep_for(std::chrono::seconds(g_uiSeconds)); });
    }
    state.counters["cpu_percent"] = dPercent;
    g_dPeerCpu.store(dPercent);
}
BENCHMARK(BM_PlaybackCpuPlaybin)->Name("PlaybackCpu/Playbin")->Iterations(1)->UseRealTime();

void BM_PlaybackCpuPlayer(benchmark::State& state)
{
    double dPercent = 0;
    for (auto _ : state) {
        CMainLoop loop;
        CStatusListener listener;
        CAudioPlayer* pPlayer = CAudioPlayer::getInstance();
        pPlayer->setListener(&listener);
        pPlayer->playAudio(toCString(mediaFile()));
        listener.waitFor(IAudioPlayerListener::PLAY_STATUS_PLAYING);
        dPercent = measureCpu([] { std::this_thread::sleep_for(std::chrono::seconds(g_uiSeconds)); });
        pPlayer->stop();
        CAudioPlayer::deleteInstance();
    }
    state.counters["cpu_percent"] = dPercent;
    if (g_dPeerCpu.load() > 0)
        state.counters["cpu_vs_playbin"] = dPercent / g_dPeerCpu.load();
}
BENCHMARK(BM_PlaybackCpuPlayer)->Name("PlaybackCpu/Player")->Iterations(1)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    while (takeFlag(argc, argv, "--commands", g_uiCommands) || takeFlag(argc, argv, "--seconds", g_uiSeconds)) {
    }
    setenv("ECS_AUDIO_SINK", "fakesink sync=true", 0);
    gst_init(nullptr, nullptr);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
