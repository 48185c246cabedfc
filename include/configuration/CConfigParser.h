#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectArray.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

template <class T>
class CSingleton;

class CXMLElement;
class CXMLParser;

// The engine's configuration: one XML file read at start-up. Every setting
// has a built-in default set by the constructor, so the getters are usable
// before (or without) a successful load, and a missing element or attribute
// never fails a load.
//
// In studio use ("use_for_studio" true) the document stays open so that the
// merge-window switch and the surface sizes can be changed and written back
// with save(); otherwise it is released as soon as the settings are read.
//
// Threading: a singleton (foundation/CSingleton.h), filled once by the host's
// main thread at start-up and only read afterwards; it has no lock. The
// setters and save belong to the thread that owns the configuration.
//
// The instance hands its log settings down to CLog when it is created and
// when a load succeeds; deleteInstance puts the log back to its defaults.
class ECS_API CConfigParser : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CConfigParser")

public:
    // Thread priorities that the file does not set.
    static const int DEFAULT_THREAD_PRIORITY = 51;

    struct tagLogLevel
    {
        TRELL_DECLARE_ALLOCATOR(u"tagLogLevel")
        bool info;
        bool warning;
        bool error;
        bool debug;
        bool performance;
    };

    struct tagLogOutput
    {
        TRELL_DECLARE_ALLOCATOR(u"tagLogOutput")
        bool terminal;
        // The largest size (bytes) an existing log file may have when the log starts.
        unsigned int file_size;
        // Absolute once loaded (resolved against the configuration's folder).
        CString file_path_win;
    };

    struct tagMemReportOutput
    {
        TRELL_DECLARE_ALLOCATOR(u"tagMemReportOutput")
        CString file_path_win;
    };

    // Names and priorities of the engine's threads, one slot per thread id.
    // The slot order is fixed; the engine indexes the arrays with ESlot.
    struct ECS_API tagThread
    {
        TRELL_DECLARE_ALLOCATOR(u"tagThread")

        enum ESlot
        {
            SLOT_MQ = 0,
            SLOT_TM,
            SLOT_SC,
            SLOT_GR,
            SLOT_AP,
            SLOT_SM,
            SLOT_DT,
            SLOT_HC,
            SLOT_WB,
            SLOT_RP,
            SLOT_RS,
            SLOT_COUNT
        };

        CString name[SLOT_COUNT];
        int priority[SLOT_COUNT];

        // The slot of an id ("mq", "tm", "sc", "gr", "ap", "sm", "dt", "hc",
        // "wb", "rp", "rs", compared exactly), or -1 for any other id.
        static int getSlotIndex(const char16_t* id);
        // The id text of a slot, or null out of range.
        static const char16_t* getSlotId(unsigned int slot);
        // The name of the thread with that id; empty for an unknown id.
        CString getName(const char16_t* id) const;
        // The priority of the thread with that id; the default for an unknown id.
        int getPriority(const char16_t* id) const;
    };

    struct tagResourceCache
    {
        TRELL_DECLARE_ALLOCATOR(u"tagResourceCache")
        unsigned int character;
        unsigned int image;
        unsigned int shader;
        unsigned int mesh;
        unsigned int audio;
    };

    struct tagRenderCache
    {
        TRELL_DECLARE_ALLOCATOR(u"tagRenderCache")
        unsigned int text_texture_size;
        unsigned int character;
        unsigned int small_texture;
        unsigned int big_texture;
        unsigned int big_texture_width;
        unsigned int big_texture_height;
        unsigned int mesh;
        unsigned int program;
    };

    struct tagRenderParam
    {
        TRELL_DECLARE_ALLOCATOR(u"tagRenderParam")
        bool android_simulator;
        bool vertical_sync;
        bool high_quality;
        bool anti_aliasing;
        unsigned int sample_count;
        CString image_no_extern;
    };

    struct tagRenderGeometry
    {
        TRELL_DECLARE_ALLOCATOR(u"tagRenderGeometry")
        int rectangle_offset_x;
        int rectangle_offset_y;
    };

    struct tagRenderText
    {
        TRELL_DECLARE_ALLOCATOR(u"tagRenderText")
        unsigned int scale_width;
        unsigned int scale_height;
        bool auto_hinting;
        bool support_complex_language;
    };

    struct tagTouchParam
    {
        TRELL_DECLARE_ALLOCATOR(u"tagTouchParam")
        unsigned int waver_distance;
        unsigned int long_press_delay;
        unsigned int continuous_press_interval;
        unsigned int double_tap_interval;
    };

    struct tagGestureParam
    {
        TRELL_DECLARE_ALLOCATOR(u"tagGestureParam")
        unsigned int finger_time_interval;
        unsigned int flip_min_distance;
        unsigned int rotate_min_angle;
        unsigned int spread_pinch_min_distance;
    };

    struct tagAnimationParam
    {
        TRELL_DECLARE_ALLOCATOR(u"tagAnimationParam")
        unsigned int fps;
    };

    // One "surface" element. Fields are named after their attributes.
    struct tagSurface
    {
        TRELL_DECLARE_ALLOCATOR(u"tagSurface")
        bool use;
        CString name;
        CString display_name;
        int display_id;
        int layer_id;
        int surface_id;
        int offset_x;
        int offset_y;
        unsigned int width;
        unsigned int width_default;
        unsigned int height;
        unsigned int height_default;
        bool enable_touch;
        bool enable_gesture;
        unsigned int initial_color;
        // Host data attached with setSurfaceParam; never read from the file.
        void* param;
    };

    // Creates the instance on first use; null only when memory runs out.
    static CConfigParser* getInstance();
    static void deleteInstance();
    // Whether the instance exists, without creating it: for readers on other
    // threads that fall back to built-in defaults instead.
    static bool hasInstance() { return s_pInstance != nullptr; }

    // Parses the file and reads every setting, starting from the defaults. A
    // relative path is taken from the current folder at this call: the
    // folder and the paths resolved against it are absolute.
    // False when the file cannot be read or parsed: the document is released
    // and every setting, the path and the surfaces keep their previous values.
    bool load(const CString& path);
    // Writes "merge_window" and the surface sizes back into the kept
    // document. False without a document (not loaded for studio use) or when
    // writing fails; true without writing when nothing changed. The file is
    // replaced in one step, so a crash mid-write leaves the old file whole;
    // a linked file is replaced through the link, keeping its permissions.
    bool save();
    // Releases the document; settings stay.
    void close();

    const CString& getPath() const { return m_strPath; }
    // The folder of the file, without a trailing separator.
    const CString& getFolder() const { return m_strFolder; }
    bool isModified() const { return m_bModified; }

    bool isUsedForStudio() const { return m_bUseForStudio; }
    bool isMergeWindow() const { return m_bMergeWindow; }
    // Marks the configuration modified, even when the value is unchanged.
    void setMergeWindow(bool merge);

    const tagLogLevel* getLogLevel() const { return &m_tagLogLevel; }
    const tagLogOutput* getLogOutput() const { return &m_tagLogOutput; }
    const tagMemReportOutput* getMemReportOutput() const { return &m_tagMemReportOutput; }
    const tagThread* getThread() const { return &m_tagThread; }
    const tagResourceCache* getResourceCache() const { return &m_tagResourceCache; }
    const tagRenderCache* getRenderCache() const { return &m_tagRenderCache; }
    const tagRenderParam* getRenderParam() const { return &m_tagRenderParam; }
    const tagRenderGeometry* getRenderGeometry() const { return &m_tagRenderGeometry; }
    const tagRenderText* getRenderText() const { return &m_tagRenderText; }
    const tagTouchParam* getTouchParam() const { return &m_tagTouchParam; }
    const tagGestureParam* getGestureParam() const { return &m_tagGestureParam; }
    const tagAnimationParam* getAnimationParam() const { return &m_tagAnimationParam; }

    // Every "surface" entry in file order, used or not.
    unsigned int getSurfaceCount() const;
    // Null when the index is out of range.
    const tagSurface* getSurfaceByIndex(unsigned int index) const;
    // The first entry whose "name" equals `name` exactly, or null.
    // (The doubled "By" is the historical name.)
    const tagSurface* getSurfaceByByName(const CString& name) const;
    // A size of 0 restores the default size; marks the configuration
    // modified only when a size changes. Out of range does nothing.
    void changeSurfaceSize(unsigned int index, unsigned int width, unsigned int height);
    void setSurfaceParam(unsigned int index, void* param);

    // The counts below see only surfaces whose "use" is true.
    // Distinct display ids.
    unsigned int getDisplayCount() const;
    // Distinct layer ids on that display.
    unsigned int getLayerCount(int display) const;
    unsigned int getSurfaceCount(int display) const;
    unsigned int getSurfaceCount(int display, int layer) const;
    // True for index 0, out of range, or when the nearest used surface
    // before it lies on another display or layer (or there is none).
    bool isFirstSurfaceInLayer(unsigned int index) const;

protected:
    friend class CSingleton<CConfigParser>;

    CConfigParser();
    ~CConfigParser() override;
    CConfigParser(const CConfigParser&);
    CConfigParser& operator=(const CConfigParser&);

    void setDefaults();
    void readSettings(const CXMLElement* root, const CString& baseFolder);
    void readThreads(const CXMLElement* threadSet);
    void readSurfaces(const CXMLElement* surfaceSet);
    void releaseDocument();

private:
    static CConfigParser* s_pInstance;

    CString m_strPath;
    CString m_strFolder;
    bool m_bUseForStudio;
    bool m_bMergeWindow;
    tagLogLevel m_tagLogLevel;
    tagLogOutput m_tagLogOutput;
    tagMemReportOutput m_tagMemReportOutput;
    tagThread m_tagThread;
    tagResourceCache m_tagResourceCache;
    tagRenderCache m_tagRenderCache;
    tagRenderParam m_tagRenderParam;
    tagRenderGeometry m_tagRenderGeometry;
    tagRenderText m_tagRenderText;
    tagTouchParam m_tagTouchParam;
    tagGestureParam m_tagGestureParam;
    tagAnimationParam m_tagAnimationParam;
    CObjectArray<tagSurface> m_arySurfaces;
    CXMLParser* m_pDocument;
    CXMLElement* m_pRoot;
    bool m_bModified;
};

} // namespace Trell
