#include <configuration/CConfigParser.h>

#include <document/CXMLElement.h>
#include <document/CXMLParser.h>
#include <foundation/CDataArray.h>
#include <foundation/CSingleton.h>
#include <system/CFile.h>
#include <system/CLogEngine.h>
#include <system/CPath.h>
#include <text/CStringConverter.h>
#include <text/CStringCore.h>
#include "platform/PlatformImp.h"
#include "system/LogSettings.h"

#include "foundation/MemFailureCount.h"

namespace Trell {

namespace {

// The thread ids in slot order.
const char16_t* const THREAD_IDS[CConfigParser::tagThread::SLOT_COUNT] = {
    u"mq", u"tm", u"sc", u"gr", u"ap", u"sm", u"dt", u"hc", u"wb", u"rp", u"rs",
};

// Files within this distance of 4 GiB cannot be buffered by the converter.
const unsigned long long MAX_SAVE_BYTES = 0xFFFFFFF0ull;

bool readBool(const CXMLElement* element, const char16_t* name, bool defaultValue)
{
    // Only the exact text "true" is true; an absent attribute keeps the default.
    return element->getAttributeBool(name, defaultValue);
}

unsigned int readUInt(const CXMLElement* element, const char16_t* name, unsigned int defaultValue)
{
    return element->getAttributeUInt(name, defaultValue);
}

int readInt(const CXMLElement* element, const char16_t* name, int defaultValue)
{
    return element->getAttributeInt(name, defaultValue);
}

// A relative path in the file is relative to the file itself.
CString resolvePath(const CString& strBaseFolder, const CString& strValue)
{
    if (strBaseFolder.length() == 0)
        return strValue;
    return CPath::generateAbsolutePath(strBaseFolder, strValue);
}

} // namespace

// ---- tagThread ---------------------------------------------------------------

int CConfigParser::tagThread::getSlotIndex(const char16_t* id)
{
    if (!id)
        return -1;
    for (int i = 0; i < SLOT_COUNT; ++i) {
        if (CStringCore::strcmp(THREAD_IDS[i], id) == 0)
            return i;
    }
    return -1;
}

const char16_t* CConfigParser::tagThread::getSlotId(unsigned int slot)
{
    return slot < SLOT_COUNT ? THREAD_IDS[slot] : nullptr;
}

CString CConfigParser::tagThread::getName(const char16_t* id) const
{
    const int slot = getSlotIndex(id);
    return slot < 0 ? CString(u"") : name[slot];
}

int CConfigParser::tagThread::getPriority(const char16_t* id) const
{
    const int slot = getSlotIndex(id);
    return slot < 0 ? DEFAULT_THREAD_PRIORITY : priority[slot];
}

// ---- Singleton -----------------------------------------------------------------

CConfigParser* CConfigParser::s_pInstance = nullptr;

namespace {

// The log sits below the configuration and cannot read it, so the instance
// hands the log its settings whenever they may have changed.
void publishLogSettings(const CConfigParser& config)
{
    const CConfigParser::tagLogLevel* pLevel = config.getLogLevel();
    const CConfigParser::tagLogOutput* pOutput = config.getLogOutput();
    LogSettings::setLevels(pLevel->info, pLevel->warning, pLevel->error, pLevel->debug);
    LogSettings::setOutput(pOutput->terminal, pOutput->file_size, pOutput->file_path_win);
}

} // namespace

CConfigParser* CConfigParser::getInstance()
{
    const bool bCreate = s_pInstance == nullptr;
    CConfigParser* pInstance = CSingleton<CConfigParser>::getInstance(s_pInstance);
    if (bCreate && pInstance)
        publishLogSettings(*pInstance);
    return pInstance;
}

void CConfigParser::deleteInstance()
{
    CSingleton<CConfigParser>::deleteInstance(s_pInstance);
    LogSettings::reset();
}

CConfigParser::CConfigParser()
    : CObject(), m_bUseForStudio(false), m_bMergeWindow(false), m_arySurfaces(true), m_pDocument(nullptr),
      m_pRoot(nullptr), m_bModified(false)
{
    setDefaults();
}

CConfigParser::~CConfigParser()
{
    releaseDocument();
}

void CConfigParser::setDefaults()
{
    m_bUseForStudio = false;
    m_bMergeWindow = false;

    m_tagLogLevel.info = true;
    m_tagLogLevel.warning = true;
    m_tagLogLevel.error = true;
    m_tagLogLevel.debug = false;
    m_tagLogLevel.performance = false;

    m_tagLogOutput.terminal = true;
    m_tagLogOutput.file_size = 0x100000;
    m_tagLogOutput.file_path_win = STRING_NULL;

    m_tagMemReportOutput.file_path_win = STRING_NULL;

    for (int i = 0; i < tagThread::SLOT_COUNT; ++i) {
        m_tagThread.name[i] = STRING_NULL;
        m_tagThread.priority[i] = DEFAULT_THREAD_PRIORITY;
    }

    m_tagResourceCache.character = 1024;
    m_tagResourceCache.image = 100;
    m_tagResourceCache.shader = 100;
    m_tagResourceCache.mesh = 50;
    m_tagResourceCache.audio = 10;

    m_tagRenderCache.text_texture_size = 256;
    m_tagRenderCache.character = 1024;
    m_tagRenderCache.small_texture = 100;
    m_tagRenderCache.big_texture = 10;
    m_tagRenderCache.big_texture_width = 1280;
    m_tagRenderCache.big_texture_height = 720;
    m_tagRenderCache.mesh = 50;
    m_tagRenderCache.program = 100;

    m_tagRenderParam.android_simulator = true;
    m_tagRenderParam.vertical_sync = true;
    m_tagRenderParam.high_quality = true;
    m_tagRenderParam.anti_aliasing = true;
    m_tagRenderParam.sample_count = 4;
    m_tagRenderParam.image_no_extern = u"png";

    m_tagRenderGeometry.rectangle_offset_x = 1;
    m_tagRenderGeometry.rectangle_offset_y = 1;

    m_tagRenderText.scale_width = 100;
    m_tagRenderText.scale_height = 100;
    m_tagRenderText.auto_hinting = true;
    m_tagRenderText.support_complex_language = false;

    m_tagTouchParam.waver_distance = 25;
    m_tagTouchParam.long_press_delay = 500;
    m_tagTouchParam.continuous_press_interval = 100;
    m_tagTouchParam.double_tap_interval = 200;

    m_tagGestureParam.finger_time_interval = 200;
    m_tagGestureParam.flip_min_distance = 50;
    m_tagGestureParam.rotate_min_angle = 5;
    m_tagGestureParam.spread_pinch_min_distance = 50;

    m_tagAnimationParam.fps = 50;

    m_arySurfaces.clear();
}

void CConfigParser::releaseDocument()
{
    delete m_pDocument;
    m_pDocument = nullptr;
    m_pRoot = nullptr;
}

void CConfigParser::close()
{
    releaseDocument();
}

// ---- Loading ---------------------------------------------------------------------

bool CConfigParser::load(const CString& path)
{
    releaseDocument();
    CXMLParser* pDocument = new CXMLParser();
    if (!pDocument)
        return false;
    if (!pDocument->parseFromFile(path) || !pDocument->getRootElement()) {
        unsigned int uiLine = 0;
        unsigned int uiColumn = 0;
        CString strLine;
        pDocument->getErrorPos(uiLine, uiColumn, strLine);
        delete pDocument;
        const CString strMessage =
            CStringConverter::format(u"The configuration file %ls cannot be read (line %u, column %u).",
                                     path.buffer() ? path.buffer() : u"", uiLine, uiColumn);
        CLogEngine::warning2(strMessage);
        return false;
    }

    const unsigned int uiFailedBefore = MemInternal::failedAllocationCount();
    m_strPath = path;
    // A relative name is taken from the current folder now, so the folder and
    // the paths resolved against it stay right when the process moves.
    m_strFolder =
        CPath::getFileFolderNoLastSeparator(CPath::generateAbsolutePath(PlatformImp::getCurrentFolder(), path));
    setDefaults();
    m_bModified = false;
    readSettings(pDocument->getRootElement(), m_strFolder);
    if (MemInternal::failedAllocationCount() != uiFailedBefore) {
        // Out of memory while reading: a half-read configuration would pass
        // for a whole one, so none is kept.
        setDefaults();
        delete pDocument;
        return false;
    }

    if (m_bUseForStudio) {
        m_pDocument = pDocument;
        m_pRoot = pDocument->getRootElement();
    } else {
        delete pDocument;
    }
    if (this == s_pInstance)
        publishLogSettings(*this);
    return true;
}

void CConfigParser::readSettings(const CXMLElement* root, const CString& baseFolder)
{
    // The root's name is not checked; every value is an attribute.
    m_bUseForStudio = readBool(root, u"use_for_studio", false);
    m_bMergeWindow = readBool(root, u"merge_window", false);

    if (const CXMLElement* e = root->getSingleChild(u"log_level")) {
        m_tagLogLevel.info = readBool(e, u"info", true);
        m_tagLogLevel.warning = readBool(e, u"warning", true);
        m_tagLogLevel.error = readBool(e, u"error", true);
        m_tagLogLevel.debug = readBool(e, u"debug", false);
        m_tagLogLevel.performance = readBool(e, u"performance", false);
    }

    CString strLogPath;
    if (const CXMLElement* e = root->getSingleChild(u"log_output")) {
        m_tagLogOutput.terminal = readBool(e, u"terminal", true);
        m_tagLogOutput.file_size = readUInt(e, u"file_size", 0x100000);
        strLogPath = e->getAttributeString(u"file_path_win");
    }
    m_tagLogOutput.file_path_win = resolvePath(baseFolder, strLogPath);

    CString strReportPath;
    if (const CXMLElement* e = root->getSingleChild(u"mem_report_output"))
        strReportPath = e->getAttributeString(u"file_path_win");
    m_tagMemReportOutput.file_path_win = resolvePath(baseFolder, strReportPath);

    if (const CXMLElement* e = root->getSingleChild(u"thread_set"))
        readThreads(e);
    if (const CXMLElement* e = root->getSingleChild(u"surface_set"))
        readSurfaces(e);

    if (const CXMLElement* e = root->getSingleChild(u"resource_cache")) {
        m_tagResourceCache.character = readUInt(e, u"character", 1024);
        m_tagResourceCache.image = readUInt(e, u"image", 100);
        m_tagResourceCache.shader = readUInt(e, u"shader", 100);
        m_tagResourceCache.mesh = readUInt(e, u"mesh", 50);
        m_tagResourceCache.audio = readUInt(e, u"audio", 10);
    }

    if (const CXMLElement* e = root->getSingleChild(u"render_cache")) {
        m_tagRenderCache.text_texture_size = readUInt(e, u"text_texture_size", 256);
        m_tagRenderCache.character = readUInt(e, u"character", 1024);
        m_tagRenderCache.small_texture = readUInt(e, u"small_texture", 100);
        m_tagRenderCache.big_texture = readUInt(e, u"big_texture", 10);
        m_tagRenderCache.big_texture_width = readUInt(e, u"big_texture_width", 1280);
        m_tagRenderCache.big_texture_height = readUInt(e, u"big_texture_height", 720);
        m_tagRenderCache.mesh = readUInt(e, u"mesh", 50);
        m_tagRenderCache.program = readUInt(e, u"program", 100);
    }

    if (const CXMLElement* e = root->getSingleChild(u"render_param")) {
        m_tagRenderParam.android_simulator = readBool(e, u"android_simulator", true);
        m_tagRenderParam.vertical_sync = readBool(e, u"vertical_sync", true);
        m_tagRenderParam.high_quality = readBool(e, u"high_quality", true);
        m_tagRenderParam.anti_aliasing = readBool(e, u"anti_aliasing", true);
        m_tagRenderParam.sample_count = readUInt(e, u"sample_count", 4);
        // Deliberate: a present element without the attribute empties the
        // extension instead of keeping "png"; existing projects rely on it.
        m_tagRenderParam.image_no_extern = e->getAttributeString(u"image_no_extern", CString(u""));
    }

    if (const CXMLElement* e = root->getSingleChild(u"render_geometry")) {
        m_tagRenderGeometry.rectangle_offset_x = readInt(e, u"rectangle_offset_x", 1);
        m_tagRenderGeometry.rectangle_offset_y = readInt(e, u"rectangle_offset_y", 1);
    }

    if (const CXMLElement* e = root->getSingleChild(u"render_text")) {
        m_tagRenderText.scale_width = readUInt(e, u"scale_width", 100);
        m_tagRenderText.scale_height = readUInt(e, u"scale_height", 100);
        m_tagRenderText.auto_hinting = readBool(e, u"auto_hinting", true);
        m_tagRenderText.support_complex_language = readBool(e, u"support_complex_language", false);
    }

    if (const CXMLElement* e = root->getSingleChild(u"touch_param")) {
        m_tagTouchParam.waver_distance = readUInt(e, u"waver_distance", 25);
        m_tagTouchParam.long_press_delay = readUInt(e, u"long_press_delay", 500);
        m_tagTouchParam.continuous_press_interval = readUInt(e, u"continuous_press_interval", 100);
        m_tagTouchParam.double_tap_interval = readUInt(e, u"double_tap_interval", 200);
    }

    if (const CXMLElement* e = root->getSingleChild(u"gesture_param")) {
        m_tagGestureParam.finger_time_interval = readUInt(e, u"finger_time_interval", 200);
        m_tagGestureParam.flip_min_distance = readUInt(e, u"flip_min_distance", 50);
        m_tagGestureParam.rotate_min_angle = readUInt(e, u"rotate_min_angle", 5);
        m_tagGestureParam.spread_pinch_min_distance = readUInt(e, u"spread_pinch_min_distance", 50);
    }

    if (const CXMLElement* e = root->getSingleChild(u"animation_param"))
        m_tagAnimationParam.fps = readUInt(e, u"fps", 50);
}

void CConfigParser::readThreads(const CXMLElement* threadSet)
{
    CDataArray<CXMLElement*> aryThreads;
    threadSet->getChildren(u"thread", aryThreads);
    for (CXMLElement* pThread : aryThreads) {
        const CString strId = pThread->getAttributeString(u"id");
        const int slot = tagThread::getSlotIndex(strId.buffer());
        if (slot < 0)
            continue; // unknown ids belong to nobody
        m_tagThread.name[slot] = pThread->getAttributeString(u"name");
        m_tagThread.priority[slot] = readInt(pThread, u"priority", DEFAULT_THREAD_PRIORITY);
    }
}

void CConfigParser::readSurfaces(const CXMLElement* surfaceSet)
{
    CDataArray<CXMLElement*> aryElements;
    surfaceSet->getChildren(u"surface", aryElements);
    for (CXMLElement* e : aryElements) {
        tagSurface* pSurface = new tagSurface();
        if (!pSurface)
            return;
        pSurface->use = readBool(e, u"use", false);
        pSurface->name = e->getAttributeString(u"name");
        pSurface->display_name = e->getAttributeString(u"display_name");
        pSurface->display_id = readInt(e, u"display_id", 0);
        pSurface->layer_id = readInt(e, u"layer_id", 0);
        pSurface->surface_id = readInt(e, u"surface_id", 0);
        pSurface->offset_x = readInt(e, u"offset_x", 0);
        pSurface->offset_y = readInt(e, u"offset_y", 0);
        pSurface->width = readUInt(e, u"width", 0);
        pSurface->width_default = readUInt(e, u"width_default", 0);
        pSurface->height = readUInt(e, u"height", 0);
        pSurface->height_default = readUInt(e, u"height_default", 0);
        pSurface->enable_touch = readBool(e, u"enable_touch", false);
        pSurface->enable_gesture = readBool(e, u"enable_gesture", false);
        pSurface->initial_color = readUInt(e, u"initial_color", 0);
        pSurface->param = nullptr;
        if (!m_arySurfaces.add(pSurface)) {
            delete pSurface;
            return;
        }
    }
}

// ---- Saving ------------------------------------------------------------------------

void CConfigParser::setMergeWindow(bool merge)
{
    m_bMergeWindow = merge;
    m_bModified = true;
}

bool CConfigParser::save()
{
    if (!m_pDocument || !m_pRoot)
        return false;
    if (!m_bModified)
        return true;

    // A write refused for want of memory leaves its attribute as it was (or
    // empty): each one is read back, and the file is not replaced by a
    // document that lacks the change. The change stays pending for a retry.
    m_pRoot->setAttribute(u"merge_window", m_bMergeWindow);
    bool bWritten = m_pRoot->getAttributeBool(u"merge_window") == m_bMergeWindow;
    if (CXMLElement* pSurfaceSet = m_pRoot->getSingleChild(u"surface_set")) {
        for (unsigned int i = 0, uiSurface = 0; i < pSurfaceSet->getChildCount(); ++i) {
            CXMLElement* pElement = pSurfaceSet->getChildByIndex(i);
            if (pElement->getName().compare(u"surface") != 0 || uiSurface >= m_arySurfaces.getCount())
                continue;
            const tagSurface* pSurface = m_arySurfaces[uiSurface++];
            pElement->setAttribute(u"width", pSurface->width);
            pElement->setAttribute(u"height", pSurface->height);
            bWritten = bWritten && pElement->getAttributeUInt(u"width") == pSurface->width &&
                       pElement->getAttributeUInt(u"height") == pSurface->height;
        }
    }
    if (!bWritten)
        return false;

    // Always UTF-8, whatever the file was read as.
    CString strText(u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    if (!m_pRoot->saveTo(strText, true, true))
        return false;
    // Byte order mark, then at most three bytes per unit and the terminator.
    const unsigned long long ullSize = 3ull + 3ull * strText.length() + 1;
    if (ullSize > MAX_SAVE_BYTES)
        return false;
    unsigned char* pBytes = static_cast<unsigned char*>(CMemory::malloc(static_cast<unsigned int>(ullSize), 0));
    if (!pBytes)
        return false;
    pBytes[0] = 0xEF;
    pBytes[1] = 0xBB;
    pBytes[2] = 0xBF;
    unsigned int uiWritten = 0;
    CStringConverter::convertToUTF8(strText, pBytes + 3, static_cast<unsigned int>(ullSize - 3), &uiWritten);

    // The whole file is replaced in one step: a crash leaves either the old
    // file or the new one, and a linked configuration stays a link. The
    // folder is absolute since load, so a changed current folder does not
    // send the save elsewhere.
    const bool bOk = PlatformImp::replaceFileContent(
        CPath::generateAbsolutePath(m_strFolder, CPath::getFileName(m_strPath)), pBytes, uiWritten + 3);
    CMemory::free(pBytes);
    if (!bOk) {
        CLogEngine::warning2(
            CStringConverter::format(u"The configuration file %ls cannot be saved.", m_strPath.buffer()));
        return false;
    }
    m_bModified = false;
    return true;
}

// ---- Surfaces ----------------------------------------------------------------------

unsigned int CConfigParser::getSurfaceCount() const
{
    return m_arySurfaces.getCount();
}

const CConfigParser::tagSurface* CConfigParser::getSurfaceByIndex(unsigned int index) const
{
    return index < m_arySurfaces.getCount() ? m_arySurfaces[index] : nullptr;
}

const CConfigParser::tagSurface* CConfigParser::getSurfaceByByName(const CString& name) const
{
    for (unsigned int i = 0; i < m_arySurfaces.getCount(); ++i) {
        if (m_arySurfaces[i]->name.compare(name) == 0)
            return m_arySurfaces[i];
    }
    return nullptr;
}

void CConfigParser::changeSurfaceSize(unsigned int index, unsigned int width, unsigned int height)
{
    if (index >= m_arySurfaces.getCount())
        return;
    tagSurface* pSurface = m_arySurfaces[index];
    if (width != pSurface->width) {
        pSurface->width = width == 0 ? pSurface->width_default : width;
        m_bModified = true;
    }
    if (height != pSurface->height) {
        pSurface->height = height == 0 ? pSurface->height_default : height;
        m_bModified = true;
    }
}

void CConfigParser::setSurfaceParam(unsigned int index, void* param)
{
    if (index < m_arySurfaces.getCount())
        m_arySurfaces[index]->param = param;
}

unsigned int CConfigParser::getDisplayCount() const
{
    // Counts each used display id at its first used surface.
    unsigned int uiCount = 0;
    const unsigned int uiTotal = m_arySurfaces.getCount();
    for (unsigned int i = 0; i < uiTotal; ++i) {
        const tagSurface* pSurface = m_arySurfaces[i];
        if (!pSurface->use)
            continue;
        bool bSeen = false;
        for (unsigned int j = 0; j < i && !bSeen; ++j)
            bSeen = m_arySurfaces[j]->use && m_arySurfaces[j]->display_id == pSurface->display_id;
        if (!bSeen)
            ++uiCount;
    }
    return uiCount;
}

unsigned int CConfigParser::getLayerCount(int display) const
{
    unsigned int uiCount = 0;
    const unsigned int uiTotal = m_arySurfaces.getCount();
    for (unsigned int i = 0; i < uiTotal; ++i) {
        const tagSurface* pSurface = m_arySurfaces[i];
        if (!pSurface->use || pSurface->display_id != display)
            continue;
        bool bSeen = false;
        for (unsigned int j = 0; j < i && !bSeen; ++j) {
            const tagSurface* pOther = m_arySurfaces[j];
            bSeen = pOther->use && pOther->display_id == display && pOther->layer_id == pSurface->layer_id;
        }
        if (!bSeen)
            ++uiCount;
    }
    return uiCount;
}

unsigned int CConfigParser::getSurfaceCount(int display) const
{
    unsigned int uiCount = 0;
    for (const tagSurface* pSurface : m_arySurfaces) {
        if (pSurface->use && pSurface->display_id == display)
            ++uiCount;
    }
    return uiCount;
}

unsigned int CConfigParser::getSurfaceCount(int display, int layer) const
{
    unsigned int uiCount = 0;
    for (const tagSurface* pSurface : m_arySurfaces) {
        if (pSurface->use && pSurface->display_id == display && pSurface->layer_id == layer)
            ++uiCount;
    }
    return uiCount;
}

bool CConfigParser::isFirstSurfaceInLayer(unsigned int index) const
{
    if (index == 0 || index >= m_arySurfaces.getCount())
        return true;
    const tagSurface* pSurface = m_arySurfaces[index];
    for (unsigned int i = index; i-- > 0;) {
        const tagSurface* pPrevious = m_arySurfaces[i];
        if (!pPrevious->use)
            continue;
        return pPrevious->display_id != pSurface->display_id || pPrevious->layer_id != pSurface->layer_id;
    }
    return true;
}

} // namespace Trell
