#pragma once

#include <platform/IPlayerMP3.h>

namespace Trell {

// MP3 playback through a GStreamer playbin.
//
// Used by one thread at a time (the player's worker); GStreamer's own
// streaming threads only report through the pipeline's bus, whose messages
// are consumed as they are posted (no GLib main loop is needed).
//
// The output sink is the element description in the ECS_AUDIO_SINK
// environment variable ("fakesink sync=true" plays in real time without a
// sound card), or the system's default audio sink when it is unset or empty.
//
// Every state change is bounded: a pipeline that does not reach the wanted
// state within STATE_CHANGE_LIMIT_MS, or that reports an error, fails the
// call instead of blocking the worker.
class CImpPlayerMP3 : public IPlayerMP3
{
    TRELL_DECLARE_ALLOCATOR(u"CImpPlayerMP3")

public:
    static constexpr unsigned int STATE_CHANGE_LIMIT_MS = 5000;

    CImpPlayerMP3();
    ~CImpPlayerMP3() override;

    // Measures and prerolls the file; false for a missing or empty file and
    // for anything that is not MPEG audio (layers 1 to 3, as MP3 files hold).
    // The length is kept in whole seconds (rounded down).
    bool load(const CString& strPath) override;
    void close() override;
    bool isLoaded() override { return m_pPipeline != nullptr; }
    // From the beginning.
    bool play() override;
    // Halts where it is; the file stays loaded.
    void stop() override;
    void pause() override;
    void resume() override;
    // Moves to the position and plays from there; a position past the
    // length is ignored.
    void seekToTime(unsigned int uiSeconds) override;
    unsigned int getTotalTime() override { return m_uiTotalTime; }
    // Whole seconds played, never more than the length; the length once the
    // end of the stream has been reached.
    unsigned int getCurrentTime() override;

    struct tagPipeline;

protected:
    CImpPlayerMP3(const CImpPlayerMP3& other);
    CImpPlayerMP3& operator=(const CImpPlayerMP3& other);

private:
    // The playbin and what its bus reported; null while nothing is loaded.
    tagPipeline* m_pPipeline;
    unsigned int m_uiTotalTime;
};

} // namespace Trell
