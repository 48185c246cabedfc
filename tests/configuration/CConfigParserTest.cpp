#include <configuration/CConfigParser.h>

#include "document/DocumentTestUtil.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include <sys/stat.h>
#ifndef _WIN32
#include <sys/resource.h>
#endif

using namespace Trell;
using DocumentTest::str;
namespace fs = std::filesystem;

namespace {

// Every test starts from a fresh singleton and leaves none behind.
class ConfigTest : public ::testing::Test
{
protected:
    void SetUp() override { m_pConfig = CConfigParser::getInstance(); }
    void TearDown() override { CConfigParser::deleteInstance(); }

    bool loadText(const std::string& strText, const std::string& strName = "config.xml")
    {
        m_temp.writeFile(strName, strText);
        return m_pConfig->load(m_temp.path(strName));
    }

    CTempFolder m_temp;
    CConfigParser* m_pConfig = nullptr;
};

const char* const THREAD_IDS[] = {"mq", "tm", "sc", "gr", "ap", "sm", "dt", "hc", "wb", "rp", "rs"};

// Every record set to a value other than its default; thread i is named
// "T" and its id and has priority i + 1 (the last -11). Ids are exact: a
// longer, a differently cased and a missing id select no slot.
std::string fullSample()
{
    std::string threads = "<thread_set>";
    for (int i = 0; i < CConfigParser::tagThread::SLOT_COUNT; ++i)
        threads += std::string("<thread id=\"") + THREAD_IDS[i] + "\" name=\"T" + THREAD_IDS[i] + "\" priority=\"" +
                   std::to_string(i == 10 ? -11 : i + 1) + "\"/>";
    threads += "<thread id=\"mqx\" name=\"Nobody\" priority=\"99\"/><thread id=\"TM\" priority=\"99\"/>"
               "<thread priority=\"99\"/></thread_set>\n";
    return "<engine_config use_for_studio=\"false\" merge_window=\"true\">" + threads +
           "  <log_level info=\"false\" warning=\"false\" error=\"false\" debug=\"true\" performance=\"true\"/>\n"
           "  <log_output terminal=\"false\" file_size=\"0x8000\" file_path_win=\"logs/engine.log\"/>\n"
           "  <mem_report_output file_path_win=\"/abs/mem.txt\"/>\n"
           "  <resource_cache character=\"11\" image=\"12\" shader=\"13\" mesh=\"14\" audio=\"15\"/>\n"
           "  <render_cache text_texture_size=\"21\" character=\"22\" small_texture=\"23\" big_texture=\"24\""
           " big_texture_width=\"25\" big_texture_height=\"26\" mesh=\"27\" program=\"28\"/>\n"
           "  <render_param android_simulator=\"false\" vertical_sync=\"false\" high_quality=\"false\""
           " anti_aliasing=\"false\" sample_count=\"8\" image_no_extern=\"jpg\"/>\n"
           "  <render_geometry rectangle_offset_x=\"-2\" rectangle_offset_y=\"3\"/>\n"
           "  <render_text scale_width=\"31\" scale_height=\"32\" auto_hinting=\"false\""
           " support_complex_language=\"true\"/>\n"
           "  <touch_param waver_distance=\"41\" long_press_delay=\"42\" continuous_press_interval=\"43\""
           " double_tap_interval=\"44\"/>\n"
           "  <gesture_param finger_time_interval=\"51\" flip_min_distance=\"52\" rotate_min_angle=\"53\""
           " spread_pinch_min_distance=\"54\"/>\n"
           "  <animation_param fps=\"60\"/>\n"
           "</engine_config>\n";
}

// Every scalar setting in the order of the records, so that a whole
// configuration is checked against one row of expected values.
std::vector<long long> scalars(const CConfigParser* c)
{
    const auto* lv = c->getLogLevel();
    const auto* rc = c->getResourceCache();
    const auto* rn = c->getRenderCache();
    const auto* rp = c->getRenderParam();
    const auto* rt = c->getRenderText();
    const auto* tp = c->getTouchParam();
    const auto* gp = c->getGestureParam();
    std::vector<long long> v;
    v.insert(v.end(), {c->isUsedForStudio(), c->isMergeWindow(), lv->info, lv->warning, lv->error, lv->debug,
                       lv->performance, c->getLogOutput()->terminal, c->getLogOutput()->file_size, rc->character,
                       rc->image, rc->shader, rc->mesh, rc->audio});
    v.insert(v.end(), {rn->text_texture_size, rn->character, rn->small_texture, rn->big_texture, rn->big_texture_width,
                       rn->big_texture_height, rn->mesh, rn->program, rp->android_simulator, rp->vertical_sync,
                       rp->high_quality, rp->anti_aliasing, rp->sample_count});
    v.insert(v.end(), {c->getRenderGeometry()->rectangle_offset_x, c->getRenderGeometry()->rectangle_offset_y,
                       rt->scale_width, rt->scale_height, rt->auto_hinting, rt->support_complex_language,
                       tp->waver_distance, tp->long_press_delay, tp->continuous_press_interval, tp->double_tap_interval,
                       gp->finger_time_interval, gp->flip_min_distance, gp->rotate_min_angle,
                       gp->spread_pinch_min_distance, c->getAnimationParam()->fps, c->getSurfaceCount()});
    return v;
}

void expectDefaults(const CConfigParser* c, const char16_t* pszImageExtension = u"png")
{
    EXPECT_EQ(scalars(c),
              (std::vector<long long>{0,    0,   1,  1,    1,   0,   0,   1,   0x100000, 1024, 100, 100, 50, 10, 256,
                                      1024, 100, 10, 1280, 720, 50,  100, 1,   1,        1,    1,   4,   1,  1,  100,
                                      100,  1,   0,  25,   500, 100, 200, 200, 50,       5,    50,  50,  0}));
    EXPECT_EQ(c->getLogOutput()->file_path_win.length(), 0u);
    EXPECT_EQ(c->getMemReportOutput()->file_path_win.length(), 0u);
    EXPECT_EQ(str(c->getRenderParam()->image_no_extern), pszImageExtension);
    EXPECT_EQ(c->getDisplayCount(), 0u); // reads no surface when there is none
    for (int i = 0; i < CConfigParser::tagThread::SLOT_COUNT; ++i)
        EXPECT_TRUE(c->getThread()->priority[i] == 51 && c->getThread()->name[i].length() == 0) << i;
}

// How many entries a folder holds, hidden ones included.
[[maybe_unused]] long entries(const std::string& strFolder) // unused where POSIX-only cases are left out
{
    return std::distance(fs::directory_iterator(strFolder), fs::directory_iterator());
}

std::string surfaces(const std::string& strSurfaces)
{
    return "<config><surface_set>" + strSurfaces + "</surface_set></config>";
}

} // namespace

TEST_F(ConfigTest, EveryRecordIsReadAndRecordsWithoutAttributesTakeTheDefaults)
{
    expectDefaults(m_pConfig);
    // A malformed file fails with its position logged and keeps all of the last one.
    ASSERT_TRUE(loadText("<c><touch_param waver_distance=\"7\"/></c>"));
    CLogRecorder log;
    EXPECT_FALSE(loadText("<c><touch_param waver_distance=\"8\"></c>", "broken.xml"));
    EXPECT_EQ(log.take(),
              std::vector<std::u16string>{u"Warning|The configuration file " + str(m_temp.path("broken.xml")) +
                                          u" cannot be read (line 1, column 37)."});
    EXPECT_EQ(m_pConfig->getTouchParam()->waver_distance, 7u);

    ASSERT_TRUE(loadText(fullSample()));
    const CConfigParser* c = m_pConfig;
    EXPECT_EQ(scalars(c), (std::vector<long long>{0,  1,  0,  0,  0,  1,  1,  0,  0x8000, 11, 12, 13, 14, 15, 21,
                                                  22, 23, 24, 25, 26, 27, 28, 0,  0,      0,  0,  8,  -2, 3,  31,
                                                  32, 0,  1,  41, 42, 43, 44, 51, 52,     53, 54, 60, 0}));
    EXPECT_EQ(str(c->getLogOutput()->file_path_win), str(m_temp.path("logs/engine.log")));
    EXPECT_EQ(str(c->getMemReportOutput()->file_path_win), u"/abs/mem.txt");
    EXPECT_EQ(str(c->getRenderParam()->image_no_extern), u"jpg");

    // Ids name the slots in order, both ways.
    const auto* th = c->getThread();
    for (int i = 0; i < th->SLOT_COUNT; ++i) {
        const CString id = CTempFolder::toCString(THREAD_IDS[i]);
        EXPECT_EQ(narrow(th->getName(id.buffer())), std::string("T") + THREAD_IDS[i]);
        EXPECT_TRUE(th->priority[i] == (i == 10 ? -11 : i + 1) && th->getPriority(id.buffer()) == th->priority[i]) << i;
        EXPECT_EQ(narrow(CString(th->getSlotId(unsigned(i)))), THREAD_IDS[i]);
    }
    EXPECT_TRUE(th->getPriority(u"mqx") == 51 && th->getName(u"mqx").length() == 0);
    EXPECT_EQ(th->getSlotId(th->SLOT_COUNT), nullptr);

    // A reload starts from the defaults. Records present without their
    // attributes take them too, except the image extension: deliberately
    // emptied by a bare render_param.
    ASSERT_TRUE(loadText("<c><log_level/><log_output/><mem_report_output/><thread_set/><surface_set/>"
                         "<resource_cache/><render_cache/><render_param/><render_geometry/>"
                         "<render_text/><touch_param/><gesture_param/><animation_param/></c>",
                         "second.xml"));
    expectDefaults(m_pConfig, u"");
}

// Unused surfaces keep their index but are not counted. A surface is first in
// its layer unless the nearest used surface before it (unused ones skipped)
// is on the same display and layer; out of range: first. Names match
// exactly, the first wins; a parameter is stored only in range.
TEST_F(ConfigTest, SurfacesAreCountedFoundAndOrderedByTheirUsedNeighbours)
{
    ASSERT_TRUE(loadText(
        surfaces("<surface name=\"Main\" display_name=\"dash\" display_id=\"2\" layer_id=\"1\""
                 " surface_id=\"3\" offset_x=\"-4\" offset_y=\"5\" enable_touch=\"true\" enable_gesture=\"true\"/>"
                 "<surface use=\"true\" display_id=\"0\" layer_id=\"0\"/>"
                 "<surface use=\"true\" display_id=\"0\" layer_id=\"0\"/>"
                 "<surface use=\"true\" name=\"main\" display_id=\"0\" layer_id=\"1\"/>"
                 "<surface use=\"false\" name=\"main\" display_id=\"0\" layer_id=\"9\"/>"
                 "<surface use=\"true\" display_id=\"0\" layer_id=\"1\"/>"
                 "<surface use=\"true\" display_id=\"2\" layer_id=\"1\"/>"
                 "<surface use=\"true\" display_id=\"0\" layer_id=\"1\"/>")));
    CConfigParser* c = m_pConfig;
    EXPECT_EQ((std::vector<unsigned int>{c->getSurfaceCount(), c->getDisplayCount(), c->getLayerCount(0),
                                         c->getLayerCount(2), c->getSurfaceCount(0), c->getSurfaceCount(2),
                                         c->getSurfaceCount(0, 1), c->getSurfaceCount(0, 9), c->getSurfaceCount(2, 1)}),
              (std::vector<unsigned int>{8, 2, 2, 1, 5, 1, 3, 0, 1}));
    std::string first;
    for (unsigned int i = 0; i <= 8; ++i)
        first += c->isFirstSurfaceInLayer(i) ? '1' : '0';
    EXPECT_EQ(first, "110110111");

    EXPECT_EQ(c->getSurfaceByIndex(8), nullptr);
    const CConfigParser::tagSurface* s = c->getSurfaceByIndex(0);
    EXPECT_EQ((std::vector<long long>{s->surface_id, s->offset_x, s->offset_y, s->enable_touch, s->enable_gesture}),
              (std::vector<long long>{3, -4, 5, 1, 1}));
    EXPECT_EQ(str(s->display_name), u"dash");
    EXPECT_FALSE(c->getSurfaceByIndex(1)->enable_touch || c->getSurfaceByIndex(1)->enable_gesture); // by default
    EXPECT_EQ(c->getSurfaceByByName(CString(u"main")), c->getSurfaceByIndex(3));
    EXPECT_EQ(c->getSurfaceByByName(CString(u"MAIN")), nullptr);
    EXPECT_EQ(c->getSurfaceByByName(CString(u"dash")), nullptr);
    int iHostData = 0;
    c->setSurfaceParam(7, &iHostData);
    c->setSurfaceParam(8, &iHostData); // out of range: nothing
    EXPECT_EQ(c->getSurfaceByIndex(7)->param, &iHostData);
}

// Only a studio document is saved, and only when something really changed:
// a size of 0 restores the default, the same size marks nothing. A file
// named relative to the current folder is resolved at load, so a later
// change of folder moves neither its paths nor the save.
TEST_F(ConfigTest, StudioSaveWritesOnlyRealChangesAndRoundTrips)
{
    ASSERT_TRUE(loadText(surfaces("<surface width=\"1\"/>")));
    m_pConfig->setMergeWindow(true);
    EXPECT_FALSE(m_pConfig->save());

    const std::string text = "<c use_for_studio=\"true\"><mem_report_output file_path_win=\"../report/mem.txt\"/>"
                             "<surface_set><surface use=\"true\" width=\"800\" height=\"480\" width_default=\"1024\""
                             " height_default=\"600\" initial_color=\"0x10\"/><surface width=\"10\" height=\"20\"/>"
                             "<surface/></surface_set></c>";
    m_temp.writeFile("sub/studio.xml", text);
    const fs::path previous = fs::current_path();
    fs::current_path(m_temp.native("sub"));
    EXPECT_TRUE(m_pConfig->load(CString(u"studio.xml")));
    fs::current_path(previous);
    EXPECT_EQ(str(m_pConfig->getMemReportOutput()->file_path_win), str(m_temp.path("report/mem.txt")));
    m_pConfig->changeSurfaceSize(0, 800, 480);
    m_pConfig->changeSurfaceSize(2, 0, 0); // 0 with a default of 0 is no change
    m_pConfig->changeSurfaceSize(3, 1, 1); // out of range
    EXPECT_FALSE(m_pConfig->isModified());
    EXPECT_TRUE(m_pConfig->save());
    EXPECT_EQ(m_temp.readFile("sub/studio.xml"), text);

    m_pConfig->changeSurfaceSize(0, 0, 0);
    m_pConfig->changeSurfaceSize(1, 30, 40);
    EXPECT_TRUE(m_pConfig->isModified());
    m_pConfig->setMergeWindow(true);
    ASSERT_TRUE(m_pConfig->save());
    EXPECT_FALSE(m_pConfig->isModified());
    // Always UTF-8 with its byte order mark and declaration.
    ASSERT_TRUE(m_pConfig->load(m_temp.path("sub/studio.xml")));
    EXPECT_TRUE(m_pConfig->isMergeWindow() && m_pConfig->isUsedForStudio());
    ASSERT_EQ(m_pConfig->getSurfaceCount(), 3u);
    const auto* a = m_pConfig->getSurfaceByIndex(0);
    const auto* b = m_pConfig->getSurfaceByIndex(1);
    EXPECT_EQ((std::vector<unsigned int>{a->width, a->height, a->initial_color, b->width, b->height}),
              (std::vector<unsigned int>{1024, 600, 0x10, 30, 40}));
    m_pConfig->close();
    EXPECT_FALSE(m_pConfig->save());
}

// POSIX only (symbolic links, modes, file size limits): listed in tests/WindowsSkips.cmake.
#ifndef _WIN32
// What belongs to the user survives a save: a link stays a link and the file
// it leads to is replaced with its mode kept. A save that fails half-way (a
// file size limit, set in a child process) logs, stays pending and leaves
// the old file. No temporary is left either way.
TEST_F(ConfigTest, SaveKeepsTheLinkAndTheModeAndAFailedSaveTheOldFile)
{
    const std::string text = "<c use_for_studio=\"true\"/>";
    m_temp.writeFile("real.xml", text);
    ASSERT_EQ(chmod(m_temp.native("real.xml").c_str(), 0640), 0);
    fs::create_symlink("real.xml", m_temp.native("engine.xml"));
    ASSERT_TRUE(m_pConfig->load(m_temp.path("engine.xml")));
    m_pConfig->setMergeWindow(true);
    const std::vector<std::u16string> warning{u"Warning|The configuration file " + str(m_temp.path("engine.xml")) +
                                              u" cannot be saved."};
    const auto saveWithLimit = [this, &warning] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit;
        limit.rlim_cur = limit.rlim_max = 8;
        setrlimit(RLIMIT_FSIZE, &limit);
        CLogRecorder log;
        const bool bSaved = m_pConfig->save();
        std::_Exit(!bSaved && m_pConfig->isModified() && log.take() == warning ? 0 : 1);
    };
    EXPECT_EXIT(saveWithLimit(), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(m_temp.readFile("real.xml"), text);
    EXPECT_EQ(entries(m_temp.native()), 2); // the link and its file

    ASSERT_TRUE(m_pConfig->save());
    EXPECT_TRUE(fs::is_symlink(m_temp.native("engine.xml")));
    // Always UTF-8 with its byte order mark and declaration.
    EXPECT_EQ(m_temp.readFile("real.xml"), "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                           "<c merge_window=\"true\" use_for_studio=\"true\"/>\n");
    EXPECT_EQ(fs::status(m_temp.native("real.xml")).permissions(),
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
}
#endif
