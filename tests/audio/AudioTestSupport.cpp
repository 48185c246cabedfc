#include "audio/AudioTestSupport.h"

#include <message/CBaseMessage.h>
#include <message/CMessageCenter.h>
#include <timer/CTimerManager.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace AudioTest {

const tagMedia& media()
{
    static CTempFolder s_folder;
    static const tagMedia s_media = [] {
#ifndef _WIN32 // a GStreamer setting
        setenv("ECS_AUDIO_SINK", "fakesink sync=true", 0);
#endif
        // Tenths of a second of tone through an encoder, by GStreamer's own tool.
        auto writeTone = [](const std::string& strName, unsigned int uiTenths, const std::string& strEncoder) {
            const std::string strCommand = "gst-launch-1.0 -q audiotestsrc num-buffers=" + std::to_string(uiTenths) +
                                           " samplesperbuffer=2205 ! audio/x-raw,rate=22050,channels=1 ! " +
                                           strEncoder + " ! filesink location=" + s_folder.native(strName);
            EXPECT_EQ(std::system(strCommand.c_str()), 0) << strCommand;
        };
        const std::string strMP3 = "lamemp3enc target=bitrate bitrate=32 cbr=true";
        writeTone("long.mp3", 23, strMP3);
        writeTone("short.mp3", 13, strMP3);
        writeTone("short_b.mp3", 13, strMP3);
        writeTone("tone.wav", 13, "wavenc");
        // An ID3v2.4 tag of 256 bytes of padding (the size is syncsafe).
        s_folder.writeFile("tagged.mp3", std::string("ID3\x04\0\0\0\0\x02\0", 10) + std::string(256, '\0') +
                                             s_folder.readFile("long.mp3"));
        std::string strNoise;
        for (unsigned int i = 0; i < 4096; ++i)
            strNoise += static_cast<char>((i * 7919u) >> 3);
        s_folder.writeFile("corrupt.mp3", strNoise);
        s_folder.writeFile("empty.mp3", "");
        s_folder.writeFile("folder.mp3/inside", "x");
        return tagMedia{s_folder.path("long.mp3"),    s_folder.path("tagged.mp3"),  s_folder.path("short.mp3"),
                        s_folder.path("short_b.mp3"), s_folder.path("corrupt.mp3"), s_folder.path("empty.mp3"),
                        s_folder.path("tone.wav"),    s_folder.path("missing.mp3"), s_folder.path("folder.mp3")};
    }();
    return s_media;
}

CMainLoop::CMainLoop()
{
    // Singletons are made on the main thread before other threads use them.
    CMessageCenter::getInstance();
    CTimerManager::getInstance()->start();
    m_thread = std::thread([this] {
        while (!m_bStop) {
            while (CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage())
                pMessage->handleMessage();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
}

CMainLoop::~CMainLoop()
{
    m_bStop = true;
    m_thread.join();
    CTimerManager::getInstance()->stop();
    CTimerManager::deleteInstance();
    CMessageCenter::deleteInstance();
}

} // namespace AudioTest
