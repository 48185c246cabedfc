#include <platform/posix/CImpPlayerMP3.h>

#include <platform/PlatformImp.h>
#include <platform/PlatformLog.h>
#include <platform/posix/NativePath.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include <chrono>
#include <cstdlib>
#include <mutex>
#include <string>

#include <gst/gst.h>
#include <sys/stat.h>

namespace Trell {

namespace {

// playbin's GstPlayFlags: audio only (no video or subtitle branch is
// built), with the volume done in software.
const unsigned int PLAY_FLAGS_AUDIO = 0x2 | 0x10;

bool initializeGStreamer()
{
    static std::once_flag s_once;
    static bool s_bReady = false;
    std::call_once(s_once, [] {
        GError* pError = nullptr;
        s_bReady = gst_init_check(nullptr, nullptr, &pError);
        if (pError)
            g_error_free(pError);
        if (!s_bReady)
            PlatformLog::logWarning(u"MP3 player: GStreamer cannot be initialised.");
    });
    return s_bReady;
}

void logLoadFailure(const CString& strPath, const char16_t* pszReason)
{
    const char16_t* pszPath = strPath.buffer() ? strPath.buffer() : u"";
    PlatformLog::logWarning(
        CStringConverter::format(u"MP3 player: cannot load %ls (%ls).", pszPath, pszReason).buffer());
}

// Reads the file through an MPEG audio parser to its end and gives its
// length: the parser finds no frames in anything that is not MPEG audio,
// and only a full pass knows the length of a file without a length header
// (playbin knows it only once it plays). Parsing without decoding takes a
// few milliseconds per minute of sound. Bounded by the state-change limit.
bool scanLength(const std::string& strFile, gint64& llLength)
{
    GstElement* pPipeline = gst_pipeline_new(nullptr);
    GstElement* pSource = gst_element_factory_make("filesrc", nullptr);
    GstElement* pParser = gst_element_factory_make("mpegaudioparse", nullptr);
    GstElement* pSink = gst_element_factory_make("fakesink", nullptr);
    bool bLinked = false;
    if (pPipeline && pSource && pParser && pSink) {
        g_object_set(pSource, "location", strFile.c_str(), nullptr);
        g_object_set(pSink, "sync", FALSE, nullptr);
        gst_bin_add_many(GST_BIN(pPipeline), pSource, pParser, pSink, nullptr);
        bLinked = gst_element_link_many(pSource, pParser, pSink, nullptr);
    } else {
        for (GstElement* pElement : {pSource, pParser, pSink}) {
            if (pElement)
                gst_object_unref(pElement);
        }
    }
    if (!pPipeline)
        return false;
    bool bEnded = false;
    if (bLinked && gst_element_set_state(pPipeline, GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE) {
        GstBus* pBus = gst_element_get_bus(pPipeline);
        GstMessage* pMessage =
            gst_bus_timed_pop_filtered(pBus, CImpPlayerMP3::STATE_CHANGE_LIMIT_MS * GST_MSECOND,
                                       static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
        bEnded = pMessage && GST_MESSAGE_TYPE(pMessage) == GST_MESSAGE_EOS;
        if (pMessage)
            gst_message_unref(pMessage);
        gst_object_unref(pBus);
    }
    // At the end the position is the end of the last frame: exact, where
    // the duration may be an estimate that counts tags as sound.
    llLength = 0;
    if (bEnded && !gst_element_query_position(pPipeline, GST_FORMAT_TIME, &llLength))
        gst_element_query_duration(pPipeline, GST_FORMAT_TIME, &llLength);
    gst_element_set_state(pPipeline, GST_STATE_NULL);
    gst_object_unref(pPipeline);
    return bEnded && llLength > 0;
}

} // namespace

// The playbin and the last news from its bus. The flags are written on
// GStreamer's streaming threads and read by the player's thread.
struct CImpPlayerMP3::tagPipeline
{
    TRELL_DECLARE_ALLOCATOR(u"CImpPlayerMP3::tagPipeline")

    GstElement* pPlaybin = nullptr;
    std::mutex mutex;
    bool bError = false;
    bool bEnded = false;
    // Last position that could be read, in nanoseconds.
    gint64 llPosition = 0;

    bool hasError()
    {
        std::lock_guard<std::mutex> guard(mutex);
        return bError;
    }
    bool hasEnded()
    {
        std::lock_guard<std::mutex> guard(mutex);
        return bEnded;
    }
    void clearEnded()
    {
        std::lock_guard<std::mutex> guard(mutex);
        bEnded = false;
    }

    // Runs on whichever thread posts: keeps what the player needs and drops
    // every message, so the bus never grows without a reader.
    static GstBusSyncReply onBusMessage(GstBus*, GstMessage* pMessage, gpointer pData)
    {
        tagPipeline* pSelf = static_cast<tagPipeline*>(pData);
        switch (GST_MESSAGE_TYPE(pMessage)) {
        case GST_MESSAGE_ERROR: {
            GError* pError = nullptr;
            gst_message_parse_error(pMessage, &pError, nullptr);
            CString strText;
            CStringConverter::convertFromUTF8(
                reinterpret_cast<const unsigned char*>(pError && pError->message ? pError->message : ""), strText);
            if (pError)
                g_error_free(pError);
            PlatformLog::logWarning(
                CStringConverter::format(u"MP3 player: %ls", strText.buffer() ? strText.buffer() : u"").buffer());
            std::lock_guard<std::mutex> guard(pSelf->mutex);
            pSelf->bError = true;
            break;
        }
        case GST_MESSAGE_EOS: {
            std::lock_guard<std::mutex> guard(pSelf->mutex);
            pSelf->bEnded = true;
            break;
        }
        default: break;
        }
        return GST_BUS_DROP;
    }

    // Moves the playbin to eTarget and waits, at most STATE_CHANGE_LIMIT_MS,
    // until it is there. An error reported meanwhile ends the wait early.
    bool changeState(GstState eTarget)
    {
        if (gst_element_set_state(pPlaybin, eTarget) == GST_STATE_CHANGE_FAILURE)
            return false;
        return waitForState(eTarget);
    }

    // Waits for a pending (asynchronous) change to settle on eTarget.
    bool waitForState(GstState eTarget)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(STATE_CHANGE_LIMIT_MS);
        for (;;) {
            GstState eCurrent = GST_STATE_VOID_PENDING;
            // Short slices, so that an error cuts the wait short.
            const GstStateChangeReturn eResult = gst_element_get_state(pPlaybin, &eCurrent, nullptr, 20 * GST_MSECOND);
            if (eResult == GST_STATE_CHANGE_FAILURE || hasError())
                return false;
            if (eResult != GST_STATE_CHANGE_ASYNC)
                return eCurrent == eTarget;
            if (std::chrono::steady_clock::now() > end)
                return false;
        }
    }

    // A flushing seek; the pipeline settles again in its current state.
    bool seekTo(gint64 llNanoseconds)
    {
        GstState eState = GST_STATE_VOID_PENDING;
        gst_element_get_state(pPlaybin, &eState, nullptr, 0);
        if (!gst_element_seek_simple(pPlaybin, GST_FORMAT_TIME,
                                     static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE),
                                     llNanoseconds))
            return false;
        clearEnded();
        {
            std::lock_guard<std::mutex> guard(mutex);
            llPosition = llNanoseconds;
        }
        return waitForState(eState);
    }
};

CImpPlayerMP3::CImpPlayerMP3() : m_pPipeline(nullptr), m_uiTotalTime(0)
{}

CImpPlayerMP3::~CImpPlayerMP3()
{
    close();
}

bool CImpPlayerMP3::load(const CString& strPath)
{
    close();
    const std::string strNative = NativePath::toNative(strPath);
    struct stat info;
    if (strNative.empty() || stat(strNative.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        logLoadFailure(strPath, u"no such file");
        return false;
    }
    if (info.st_size == 0) {
        logLoadFailure(strPath, u"empty file");
        return false;
    }
    if (!initializeGStreamer())
        return false;
    gint64 llLength = 0;
    if (!scanLength(strNative, llLength)) {
        logLoadFailure(strPath, u"not MPEG audio");
        return false;
    }

    GError* pError = nullptr;
    gchar* pszUri = gst_filename_to_uri(strNative.c_str(), &pError);
    if (pError)
        g_error_free(pError);
    GstElement* pPlaybin = pszUri ? gst_element_factory_make("playbin", nullptr) : nullptr;
    if (!pPlaybin) {
        g_free(pszUri);
        logLoadFailure(strPath, u"no playbin");
        return false;
    }
    g_object_set(pPlaybin, "uri", pszUri, "flags", PLAY_FLAGS_AUDIO, nullptr);
    g_free(pszUri);

    const char* pszSink = std::getenv("ECS_AUDIO_SINK");
    if (pszSink && *pszSink) {
        pError = nullptr;
        GstElement* pSink = gst_parse_bin_from_description(pszSink, TRUE, &pError);
        if (pError)
            g_error_free(pError);
        if (!pSink) {
            gst_object_unref(pPlaybin);
            logLoadFailure(strPath, u"the sink of ECS_AUDIO_SINK cannot be built");
            return false;
        }
        // playbin takes the floating reference.
        g_object_set(pPlaybin, "audio-sink", pSink, nullptr);
    }

    tagPipeline* pPipeline = new tagPipeline();
    if (!pPipeline) {
        gst_object_unref(pPlaybin);
        return false;
    }
    pPipeline->pPlaybin = pPlaybin;
    GstBus* pBus = gst_element_get_bus(pPlaybin);
    gst_bus_set_sync_handler(pBus, &tagPipeline::onBusMessage, pPipeline, nullptr);
    gst_object_unref(pBus);
    m_pPipeline = pPipeline;

    // Preroll: the file is opened, typed and decoded up to the first buffer.
    if (!pPipeline->changeState(GST_STATE_PAUSED)) {
        close();
        logLoadFailure(strPath, u"not playable");
        return false;
    }
    m_uiTotalTime = static_cast<unsigned int>(llLength / GST_SECOND);
    return true;
}

void CImpPlayerMP3::close()
{
    if (!m_pPipeline)
        return;
    // The change to NULL is synchronous: the streaming threads are gone
    // afterwards, so nobody calls the bus handler any more.
    gst_element_set_state(m_pPipeline->pPlaybin, GST_STATE_NULL);
    GstBus* pBus = gst_element_get_bus(m_pPipeline->pPlaybin);
    gst_bus_set_sync_handler(pBus, nullptr, nullptr, nullptr);
    gst_object_unref(pBus);
    gst_object_unref(m_pPipeline->pPlaybin);
    delete m_pPipeline;
    m_pPipeline = nullptr;
    m_uiTotalTime = 0;
}

bool CImpPlayerMP3::play()
{
    if (!m_pPipeline || !m_pPipeline->seekTo(0))
        return false;
    return m_pPipeline->changeState(GST_STATE_PLAYING);
}

void CImpPlayerMP3::stop()
{
    if (m_pPipeline)
        m_pPipeline->changeState(GST_STATE_PAUSED);
}

void CImpPlayerMP3::pause()
{
    if (m_pPipeline)
        m_pPipeline->changeState(GST_STATE_PAUSED);
}

void CImpPlayerMP3::resume()
{
    if (m_pPipeline)
        m_pPipeline->changeState(GST_STATE_PLAYING);
}

void CImpPlayerMP3::seekToTime(unsigned int uiSeconds)
{
    if (!m_pPipeline || uiSeconds > m_uiTotalTime)
        return;
    if (m_pPipeline->seekTo(static_cast<gint64>(uiSeconds) * GST_SECOND))
        m_pPipeline->changeState(GST_STATE_PLAYING);
}

unsigned int CImpPlayerMP3::getCurrentTime()
{
    if (!m_pPipeline)
        return 0;
    if (m_pPipeline->hasEnded())
        return m_uiTotalTime;
    // Queried without the lock: the streaming threads take it to report.
    gint64 llPosition = 0;
    const bool bRead =
        gst_element_query_position(m_pPipeline->pPlaybin, GST_FORMAT_TIME, &llPosition) && llPosition >= 0;
    std::lock_guard<std::mutex> guard(m_pPipeline->mutex);
    // Unreadable while a seek flushes: the last position read stands.
    if (bRead)
        m_pPipeline->llPosition = llPosition;
    const unsigned int uiSeconds = static_cast<unsigned int>(m_pPipeline->llPosition / GST_SECOND);
    return uiSeconds < m_uiTotalTime ? uiSeconds : m_uiTotalTime;
}

namespace PlatformImp {

IPlayerMP3* createPlayerMP3()
{
    return new CImpPlayerMP3();
}

} // namespace PlatformImp
} // namespace Trell
