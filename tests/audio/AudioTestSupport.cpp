#include "audio/AudioTestSupport.h"

#include <message/CBaseMessage.h>
#include <message/CMessageCenter.h>
#include <timer/CTimerManager.h>

#include <gst/gst.h>

#include <cstdlib>
#include <string>

namespace AudioTest {

namespace {

const unsigned int SAMPLE_RATE = 22050;

// Runs a gst-launch style description to its end; false on an error or
// when it does not finish within a generous limit.
bool runPipeline(const std::string& strDescription)
{
    GError* pError = nullptr;
    GstElement* pPipeline = gst_parse_launch(strDescription.c_str(), &pError);
    if (pError) {
        g_error_free(pError);
        if (pPipeline)
            gst_object_unref(pPipeline);
        return false;
    }
    gst_element_set_state(pPipeline, GST_STATE_PLAYING);
    GstBus* pBus = gst_element_get_bus(pPipeline);
    GstMessage* pMessage = gst_bus_timed_pop_filtered(pBus, 30 * GST_SECOND,
                                                      static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    const bool bDone = pMessage && GST_MESSAGE_TYPE(pMessage) == GST_MESSAGE_EOS;
    if (pMessage)
        gst_message_unref(pMessage);
    gst_object_unref(pBus);
    gst_element_set_state(pPipeline, GST_STATE_NULL);
    gst_object_unref(pPipeline);
    return bDone;
}

// A sine tone of uiTenths tenths of a second, mono, through sEncoder.
bool writeTone(const std::string& strPath, unsigned int uiTenths, const std::string& strEncoder)
{
    return runPipeline("audiotestsrc wave=sine num-buffers=" + std::to_string(uiTenths) +
                       " samplesperbuffer=" + std::to_string(SAMPLE_RATE / 10) + " ! audio/x-raw,rate=" +
                       std::to_string(SAMPLE_RATE) + ",channels=1 ! " + strEncoder + " ! filesink location=\"" +
                       strPath + "\"");
}

const char* const MP3_ENCODER = "lamemp3enc target=bitrate bitrate=32 cbr=true";

} // namespace

void useTestSink()
{
    setenv("ECS_AUDIO_SINK", "fakesink sync=true", 0);
}

const tagMedia& media()
{
    static CTempFolder s_folder;
    static tagMedia s_media = [] {
        gst_init(nullptr, nullptr);
        tagMedia result;
        writeTone(s_folder.native("long.mp3"), 23, MP3_ENCODER);
        writeTone(s_folder.native("short.mp3"), 13, MP3_ENCODER);
        writeTone(s_folder.native("short_b.mp3"), 13, MP3_ENCODER);
        writeTone(s_folder.native("tone.wav"), 13, "wavenc");
        // An ID3v2.4 tag of 256 bytes of padding (the size is syncsafe).
        s_folder.writeFile("tagged.mp3", std::string("ID3\x04\x00\x00\x00\x00\x02\x00", 10) +
                                             std::string(256, '\0') + s_folder.readFile("long.mp3"));
        std::string strNoise;
        for (unsigned int i = 0; i < 4096; ++i)
            strNoise += static_cast<char>((i * 7919u) >> 3);
        s_folder.writeFile("corrupt.mp3", strNoise);
        s_folder.writeFile("empty.mp3", "");
        s_folder.writeFile("folder.mp3/inside", "x");
        result.strLong = s_folder.path("long.mp3");
        result.strTagged = s_folder.path("tagged.mp3");
        result.strShort = s_folder.path("short.mp3");
        result.strShortB = s_folder.path("short_b.mp3");
        result.strWave = s_folder.path("tone.wav");
        result.strCorrupt = s_folder.path("corrupt.mp3");
        result.strEmpty = s_folder.path("empty.mp3");
        result.strMissing = s_folder.path("missing.mp3");
        result.strFolder = s_folder.path("folder.mp3");
        return result;
    }();
    return s_media;
}

CMainLoop::CMainLoop()
{
    CMessageCenter::getInstance()->clearMessageList();
    CTimerManager::getInstance()->start();
    m_thread = std::thread([this] {
        while (!m_bStop.load()) {
            while (CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage())
                pMessage->handleMessage();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
}

CMainLoop::~CMainLoop()
{
    m_bStop.store(true);
    m_thread.join();
    CTimerManager::getInstance()->stop();
    CTimerManager::deleteInstance();
    CMessageCenter::getInstance()->clearMessageList();
    CMessageCenter::deleteInstance();
}

} // namespace AudioTest
