#include <configuration/CConfigParser.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include "document/DocumentTestUtil.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>
#ifndef _WIN32
#include <sys/resource.h>
#include <unistd.h>
#endif

using namespace Trell;
using DocumentTest::str;
using DocumentTest::utf16le;
namespace fs = std::filesystem;

namespace {

// Every test starts from a fresh singleton and leaves none behind.
class ConfigTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        CConfigParser::deleteInstance();
        ASSERT_TRUE(m_temp.isValid());
        m_pConfig = CConfigParser::getInstance();
        ASSERT_NE(m_pConfig, nullptr);
    }
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
const char* const THREAD_NAMES[] = {"Queue", "Timer", "Screen", "Graphic", "Audio", "Share",
                                    "Transfer", "Host", "Web", "Report", "Resource"};

// Every record set to a value other than its default; thread i has priority
// i + 1 (the last -11), and an unknown id and element are ignored.
std::string fullSample()
{
    std::string threads;
    for (int i = 0; i < CConfigParser::tagThread::SLOT_COUNT; ++i)
        threads += std::string("<thread id=\"") + THREAD_IDS[i] + "\" name=\"" + THREAD_NAMES[i] + "\" priority=\"" +
                   std::to_string(i == 10 ? -11 : i + 1) + "\"/>";
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<engine_config use_for_studio=\"false\" merge_window=\"true\">\n"
           "  <log_level info=\"false\" warning=\"false\" error=\"false\" debug=\"true\" performance=\"true\"/>\n"
           "  <log_output terminal=\"false\" file_size=\"0x8000\" file_path_win=\"logs/engine.log\"/>\n"
           "  <mem_report_output file_path_win=\"/abs/mem.txt\"/>\n"
           "  <thread_set>" + threads + "<thread id=\"zz\" name=\"Nobody\" priority=\"99\"/></thread_set>\n"
           "  <surface_set>\n"
           "    <surface use=\"true\" name=\"main\" display_name=\"Center\" display_id=\"1\" layer_id=\"2\""
           " surface_id=\"3\" offset_x=\"-4\" offset_y=\"5\" width=\"800\" width_default=\"1024\" height=\"480\""
           " height_default=\"600\" enable_touch=\"true\" enable_gesture=\"true\" initial_color=\"0xFF00FF00\"/>\n"
           "    <surface name=\"spare\"/>\n"
           "  </surface_set>\n"
           "  <resource_cache character=\"11\" image=\"12\" shader=\"13\" mesh=\"14\" audio=\"15\"/>\n"
           "  <render_cache text_texture_size=\"21\" character=\"22\" small_texture=\"23\" big_texture=\"24\""
           " big_texture_width=\"25\" big_texture_height=\"26\" mesh=\"27\" program=\"28\"/>\n"
           "  <render_param android_simulator=\"false\" vertical_sync=\"false\" high_quality=\"false\""
           " anti_aliasing=\"false\" sample_count=\"8\" image_no_extern=\"jpg\"/>\n"
           "  <render_geometry rectangle_offset_x=\"-2\" rectangle_offset_y=\"3\"/>\n"
           "  <render_text scale_width=\"31\" scale_height=\"32\" auto_hinting=\"false\" support_complex_language=\"true\"/>\n"
           "  <touch_param waver_distance=\"41\" long_press_delay=\"42\" continuous_press_interval=\"43\""
           " double_tap_interval=\"44\"/>\n"
           "  <gesture_param finger_time_interval=\"51\" flip_min_distance=\"52\" rotate_min_angle=\"53\""
           " spread_pinch_min_distance=\"54\"/>\n"
           "  <animation_param fps=\"60\"/>\n"
           "  <unknown_element foo=\"bar\"/>\n"
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
    return {c->isUsedForStudio(), c->isMergeWindow(), lv->info, lv->warning, lv->error, lv->debug, lv->performance,
            c->getLogOutput()->terminal, c->getLogOutput()->file_size, rc->character, rc->image, rc->shader,
            rc->mesh, rc->audio, rn->text_texture_size, rn->character, rn->small_texture, rn->big_texture,
            rn->big_texture_width, rn->big_texture_height, rn->mesh, rn->program, rp->android_simulator,
            rp->vertical_sync, rp->high_quality, rp->anti_aliasing, rp->sample_count,
            c->getRenderGeometry()->rectangle_offset_x, c->getRenderGeometry()->rectangle_offset_y, rt->scale_width,
            rt->scale_height, rt->auto_hinting, rt->support_complex_language, tp->waver_distance,
            tp->long_press_delay, tp->continuous_press_interval, tp->double_tap_interval, gp->finger_time_interval,
            gp->flip_min_distance, gp->rotate_min_angle, gp->spread_pinch_min_distance, c->getAnimationParam()->fps,
            c->getSurfaceCount()};
}

void expectDefaults(const CConfigParser* c)
{
    EXPECT_EQ(scalars(c), (std::vector<long long>{0, 0, 1, 1, 1, 0, 0, 1, 0x100000, 1024, 100, 100, 50, 10, 256, 1024,
                                                  100, 10, 1280, 720, 50, 100, 1, 1, 1, 1, 4, 1, 1, 100, 100, 1, 0,
                                                  25, 500, 100, 200, 200, 50, 5, 50, 50, 0}));
    EXPECT_EQ(c->getLogOutput()->file_path_win.length(), 0u);
    EXPECT_EQ(c->getMemReportOutput()->file_path_win.length(), 0u);
    EXPECT_EQ(str(c->getRenderParam()->image_no_extern), u"png");
    EXPECT_EQ(c->getDisplayCount(), 0u);
    for (int i = 0; i < CConfigParser::tagThread::SLOT_COUNT; ++i)
        EXPECT_TRUE(c->getThread()->priority[i] == 51 && c->getThread()->name[i].length() == 0) << i;
}

// The names in a folder, hidden ones included, sorted.
[[maybe_unused]] std::vector<std::string> names(const std::string& strFolder) // unused where POSIX-only cases are left out
{
    std::vector<std::string> out;
    for (const auto& entry : fs::directory_iterator(strFolder))
        out.push_back(entry.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

std::string surfaces(const std::string& strSurfaces, const std::string& strRootAttributes = "")
{
    return "<config" + strRootAttributes + "><surface_set>" + strSurfaces + "</surface_set></config>";
}

} // namespace

TEST_F(ConfigTest, DefaultsBeforeLoadOnEmptyRootAndAfterReload)
{
    expectDefaults(m_pConfig);
    ASSERT_TRUE(loadText("<whatever/>"));
    expectDefaults(m_pConfig);
    // Records present without their attributes take the same defaults.
    ASSERT_TRUE(loadText("<c><log_level/><log_output/><mem_report_output/><thread_set/><surface_set/>"
                         "<resource_cache/><render_cache/><render_param image_no_extern=\"png\"/><render_geometry/>"
                         "<render_text/><touch_param/><gesture_param/><animation_param/></c>"));
    expectDefaults(m_pConfig);
    ASSERT_TRUE(loadText(fullSample()));
    ASSERT_TRUE(loadText("<c/>", "second.xml"));
    expectDefaults(m_pConfig);
    EXPECT_EQ(str(m_pConfig->getPath()), str(m_temp.path("second.xml")));
}

TEST_F(ConfigTest, MissingOrMalformedFileFailsAndKeepsPreviousSettings)
{
    ASSERT_TRUE(loadText("<c use_for_studio=\"true\"><touch_param waver_distance=\"7\"/></c>"));
    const CString strPath = m_pConfig->getPath();
    CLogRecorder log;
    EXPECT_FALSE(m_pConfig->load(m_temp.path("missing.xml")));
    EXPECT_FALSE(loadText("<c><touch_param waver_distance=\"8\"></c>", "broken.xml"));
    EXPECT_EQ(log.take(), (std::vector<std::u16string>{
                              u"Warning|The configuration file " + str(m_temp.path("missing.xml")) +
                                  u" cannot be read (line 1, column 0).",
                              u"Warning|The configuration file " + str(m_temp.path("broken.xml")) +
                                  u" cannot be read (line 1, column 37)."}));
    EXPECT_EQ(m_pConfig->getTouchParam()->waver_distance, 7u);
    EXPECT_EQ(str(m_pConfig->getPath()), str(strPath));
    // Whatever document was kept is released with the failed load.
    m_pConfig->setMergeWindow(true);
    EXPECT_FALSE(m_pConfig->save());
}

TEST_F(ConfigTest, EveryRecordReadFromFullSample)
{
    using Thread = CConfigParser::tagThread;
    ASSERT_TRUE(loadText(fullSample()));
    const CConfigParser* c = m_pConfig;
    EXPECT_EQ(scalars(c), (std::vector<long long>{0, 1, 0, 0, 0, 1, 1, 0, 0x8000, 11, 12, 13, 14, 15, 21, 22, 23, 24,
                                                  25, 26, 27, 28, 0, 0, 0, 0, 8, -2, 3, 31, 32, 0, 1, 41, 42, 43, 44,
                                                  51, 52, 53, 54, 60, 2}));
    EXPECT_EQ(str(c->getLogOutput()->file_path_win), str(m_temp.path("logs/engine.log")));
    EXPECT_EQ(str(c->getMemReportOutput()->file_path_win), u"/abs/mem.txt");
    EXPECT_EQ(str(c->getRenderParam()->image_no_extern), u"jpg");

    // Ids name the slots in order, both ways.
    const Thread* th = c->getThread();
    for (int i = 0; i < Thread::SLOT_COUNT; ++i) {
        EXPECT_EQ(narrow(th->name[i]), THREAD_NAMES[i]);
        const CString id = CTempFolder::toCString(THREAD_IDS[i]);
        EXPECT_TRUE(th->priority[i] == (i == 10 ? -11 : i + 1) && th->getPriority(id.buffer()) == th->priority[i]) << i;
        EXPECT_EQ(Thread::getSlotIndex(id.buffer()), i);
        EXPECT_EQ(narrow(CString(Thread::getSlotId(unsigned(i)))), THREAD_IDS[i]);
    }
    EXPECT_EQ(str(th->getName(u"tm")), u"Timer");
    EXPECT_EQ(th->getPriority(u"zz"), 51);
    EXPECT_EQ(th->getName(u"zz").length(), 0u);
    for (const char16_t* id : {u"m", u"mqx", static_cast<const char16_t*>(nullptr)})
        EXPECT_EQ(Thread::getSlotIndex(id), -1);
    EXPECT_EQ(Thread::getSlotId(Thread::SLOT_COUNT), nullptr);

    const CConfigParser::tagSurface* s = c->getSurfaceByIndex(0);
    const CConfigParser::tagSurface* spare = c->getSurfaceByIndex(1);
    ASSERT_TRUE(s && spare);
    EXPECT_EQ(str(s->name) + u"," + str(s->display_name) + u"," + str(spare->display_name), u"main,Center,");
    EXPECT_EQ((std::vector<long long>{s->use, s->display_id, s->layer_id, s->surface_id, s->offset_x, s->offset_y,
                                      s->width, s->width_default, s->height, s->height_default, s->enable_touch,
                                      s->enable_gesture, s->initial_color, spare->use, spare->width,
                                      spare->enable_touch}),
              (std::vector<long long>{1, 1, 2, 3, -4, 5, 800, 1024, 480, 600, 1, 1, 0xFF00FF00, 0, 0, 0}));
    EXPECT_EQ(s->param, nullptr);
}

TEST_F(ConfigTest, GarbageValuesFollowConversionRules)
{
    ASSERT_TRUE(loadText("<c use_for_studio=\"TRUE\" merge_window=\"yes\">"
                         "<log_level info=\"True\" debug=\"1\"/>"
                         "<log_output file_size=\"lots\" terminal=\"\"/>"
                         "<thread_set><thread id=\"tm\" priority=\"high\"/><thread id=\"TM\" priority=\"9\"/>"
                         "<thread priority=\"8\"/></thread_set>"
                         "<render_param vertical_sync=\"true \" sample_count=\"-1\"/>"
                         "<render_geometry rectangle_offset_x=\"12abc\"/>"
                         "<animation_param fps=\"\"/>"
                         "</c>"));
    const CConfigParser* c = m_pConfig;
    // Only the exact text "true" is true.
    EXPECT_FALSE(c->isUsedForStudio() || c->isMergeWindow() || c->getLogLevel()->info || c->getLogLevel()->debug ||
                 c->getLogOutput()->terminal || c->getRenderParam()->vertical_sync);
    // Non-numbers are not reported; they become whatever the conversion makes.
    EXPECT_EQ(c->getLogOutput()->file_size, 0u);
    EXPECT_EQ(c->getThread()->getPriority(u"tm"), 0);
    EXPECT_EQ(c->getAnimationParam()->fps, 0u);
    EXPECT_EQ(c->getRenderGeometry()->rectangle_offset_x, 12);
    EXPECT_EQ(c->getRenderParam()->sample_count, CStringConverter::toUInt(u"-1"));
    // Ids are exact: "TM" and a missing id select no slot.
    for (int i = 0; i < CConfigParser::tagThread::SLOT_COUNT; ++i)
        EXPECT_EQ(c->getThread()->priority[i], i == CConfigParser::tagThread::SLOT_TM ? 0 : 51) << i;
    // A present render_param without the attribute empties the extension.
    EXPECT_EQ(c->getRenderParam()->image_no_extern.length(), 0u);
}

TEST_F(ConfigTest, RelativePathsResolveAgainstTheFilesFolder)
{
    const std::string text = "<c use_for_studio=\"true\"><log_output file_path_win=\"log\"/>"
                             "<mem_report_output file_path_win=\"../report/mem.txt\"/></c>";
    ASSERT_TRUE(loadText(text, "sub/config.xml"));
    // A file named relative to the current folder is resolved at load, so a
    // later change of folder moves neither the paths nor the save.
    const fs::path previous = fs::current_path();
    fs::current_path(m_temp.native("sub"));
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(str(m_pConfig->getFolder()), str(m_temp.path("sub")));
        EXPECT_EQ(str(m_pConfig->getLogOutput()->file_path_win), str(m_temp.path("sub/log")));
        EXPECT_EQ(str(m_pConfig->getMemReportOutput()->file_path_win), str(m_temp.path("report/mem.txt")));
        EXPECT_TRUE(round || m_pConfig->load(CString(u"config.xml")));
        fs::current_path(previous);
    }
    m_pConfig->setMergeWindow(true);
    ASSERT_TRUE(m_pConfig->save());
    EXPECT_NE(m_temp.readFile("sub/config.xml").find("merge_window"), std::string::npos);
}

TEST_F(ConfigTest, UnusedSurfacesKeepTheirIndexButAreNotCounted)
{
    ASSERT_TRUE(loadText(surfaces("<surface use=\"true\" name=\"a\" display_id=\"0\" layer_id=\"0\"/>"
                                  "<surface name=\"b\" display_id=\"5\" layer_id=\"7\"/>"
                                  "<surface use=\"true\" name=\"c\" display_id=\"0\" layer_id=\"1\"/>"
                                  "<surface use=\"false\" name=\"d\" display_id=\"0\" layer_id=\"9\"/>"
                                  "<surface use=\"true\" name=\"e\" display_id=\"2\" layer_id=\"1\"/>"
                                  "<surface use=\"true\" name=\"f\" display_id=\"0\" layer_id=\"1\"/>")));
    const CConfigParser* c = m_pConfig;
    ASSERT_NE(c->getSurfaceByIndex(1), nullptr);
    EXPECT_EQ(str(c->getSurfaceByIndex(1)->name), u"b");
    EXPECT_EQ(c->getSurfaceByIndex(6), nullptr);
    EXPECT_EQ((std::vector<unsigned int>{c->getSurfaceCount(), c->getDisplayCount(), c->getLayerCount(0),
                                         c->getLayerCount(2), c->getLayerCount(5), c->getSurfaceCount(0),
                                         c->getSurfaceCount(5), c->getSurfaceCount(0, 1), c->getSurfaceCount(0, 9),
                                         c->getSurfaceCount(5, 7)}),
              (std::vector<unsigned int>{6, 2, 2, 1, 0, 3, 0, 2, 0, 0}));
}

// A surface is first in its layer unless the nearest used surface before it
// (unused ones skipped) is on the same display and layer; out of range: first.
TEST_F(ConfigTest, FirstSurfaceInLayerLooksBackToTheNearestUsedSurface)
{
    ASSERT_TRUE(loadText(surfaces("<surface use=\"true\" display_id=\"0\" layer_id=\"0\"/>"
                                  "<surface use=\"true\" display_id=\"0\" layer_id=\"0\"/>"
                                  "<surface display_id=\"0\" layer_id=\"1\"/>"
                                  "<surface use=\"true\" display_id=\"0\" layer_id=\"1\"/>"
                                  "<surface display_id=\"0\" layer_id=\"1\"/>"
                                  "<surface use=\"true\" display_id=\"0\" layer_id=\"1\"/>"
                                  "<surface use=\"true\" display_id=\"1\" layer_id=\"1\"/>")));
    std::string first;
    for (unsigned int i : {0u, 1u, 3u, 5u, 6u, 7u, 100u})
        first += m_pConfig->isFirstSurfaceInLayer(i) ? '1' : '0';
    EXPECT_EQ(first, "1010111");
    ASSERT_TRUE(loadText(surfaces("<surface/><surface use=\"true\"/>"), "b.xml"));
    EXPECT_TRUE(m_pConfig->isFirstSurfaceInLayer(1)); // no used surface before it
}

TEST_F(ConfigTest, SurfaceByNameMatchesNameExactlyAndParamIsStoredInRange)
{
    ASSERT_TRUE(loadText(surfaces("<surface name=\"Main\" display_name=\"dash\"/>"
                                  "<surface name=\"main\"/><surface name=\"main\" display_id=\"4\"/>")));
    CConfigParser* c = m_pConfig;
    EXPECT_EQ(c->getSurfaceByByName(CString(u"main")), c->getSurfaceByIndex(1));
    EXPECT_EQ(c->getSurfaceByByName(CString(u"Main")), c->getSurfaceByIndex(0));
    EXPECT_EQ(c->getSurfaceByByName(CString(u"MAIN")), nullptr);
    EXPECT_EQ(c->getSurfaceByByName(CString(u"dash")), nullptr);
    int iHostData = 0;
    c->setSurfaceParam(2, &iHostData);
    c->setSurfaceParam(3, &iHostData); // out of range: nothing
    EXPECT_EQ(c->getSurfaceByIndex(2)->param, &iHostData);
    EXPECT_EQ(c->getSurfaceByIndex(1)->param, nullptr);
    EXPECT_FALSE(c->isModified());
}

TEST_F(ConfigTest, ChangeSurfaceSizeRestoresDefaultsAndMarksOnlyRealChanges)
{
    ASSERT_TRUE(loadText(surfaces("<surface width=\"800\" width_default=\"1024\" height=\"480\""
                                  " height_default=\"600\"/>")));
    const CConfigParser::tagSurface* s = m_pConfig->getSurfaceByIndex(0);
    m_pConfig->changeSurfaceSize(0, 800, 480);
    m_pConfig->changeSurfaceSize(1, 1, 1); // out of range
    EXPECT_FALSE(m_pConfig->isModified());
    m_pConfig->changeSurfaceSize(0, 0, 0);
    EXPECT_TRUE(m_pConfig->isModified());
    EXPECT_TRUE(s->width == 1024u && s->height == 600u);
    m_pConfig->changeSurfaceSize(0, 640, 0);
    EXPECT_TRUE(s->width == 640u && s->height == 600u);
    // Width 0 with a default of 0: the width does not differ, nothing is marked.
    ASSERT_TRUE(loadText(surfaces("<surface/>"), "zero.xml"));
    m_pConfig->changeSurfaceSize(0, 0, 0);
    EXPECT_FALSE(m_pConfig->isModified());
}

TEST_F(ConfigTest, SaveNeedsTheStudioDocumentAndWritesOnlyChanges)
{
    EXPECT_FALSE(m_pConfig->save()); // nothing loaded
    ASSERT_TRUE(loadText(surfaces("<surface width=\"1\"/>")));
    m_pConfig->setMergeWindow(true);
    EXPECT_FALSE(m_pConfig->save());

    const std::string text = surfaces("<surface width=\"1\"/>", " use_for_studio=\"true\"");
    ASSERT_TRUE(loadText(text, "studio.xml"));
    const auto before = fs::last_write_time(m_temp.native("studio.xml"));
    EXPECT_TRUE(m_pConfig->save());
    EXPECT_EQ(m_temp.readFile("studio.xml"), text);
    EXPECT_EQ(fs::last_write_time(m_temp.native("studio.xml")), before);

    m_pConfig->setMergeWindow(true);
    m_pConfig->close();
    EXPECT_FALSE(m_pConfig->save());
    EXPECT_TRUE(m_pConfig->isMergeWindow()); // settings outlive the document
}

TEST_F(ConfigTest, StudioSaveRoundTrip)
{
    ASSERT_TRUE(loadText(surfaces("<surface use=\"true\" name=\"a\" width=\"800\" height=\"480\" width_default=\"1024\""
                                  " height_default=\"600\" initial_color=\"0x10\"/>"
                                  "<surface name=\"b\" width=\"10\" height=\"20\"/>",
                                  " use_for_studio=\"true\" extra=\"kept\"")));
    m_pConfig->setMergeWindow(true);
    m_pConfig->changeSurfaceSize(0, 0, 0);
    m_pConfig->changeSurfaceSize(1, 30, 40);
    ASSERT_TRUE(m_pConfig->save());
    EXPECT_FALSE(m_pConfig->isModified());
    const std::string saved = m_temp.readFile("config.xml");
    EXPECT_EQ(saved.rfind("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>", 0), 0u) << saved;
    EXPECT_NE(saved.find("extra=\"kept\""), std::string::npos) << saved;

    CConfigParser::deleteInstance();
    m_pConfig = CConfigParser::getInstance();
    ASSERT_TRUE(m_pConfig->load(m_temp.path("config.xml")));
    EXPECT_TRUE(m_pConfig->isMergeWindow() && m_pConfig->isUsedForStudio());
    ASSERT_EQ(m_pConfig->getSurfaceCount(), 2u);
    const auto* a = m_pConfig->getSurfaceByIndex(0);
    const auto* b = m_pConfig->getSurfaceByIndex(1);
    EXPECT_EQ((std::vector<unsigned int>{a->width, a->height, a->initial_color, b->width, b->height}),
              (std::vector<unsigned int>{1024, 600, 0x10, 30, 40}));
    // merge_window written back as false too.
    m_pConfig->setMergeWindow(false);
    ASSERT_TRUE(m_pConfig->save());
    ASSERT_TRUE(m_pConfig->load(m_temp.path("config.xml")));
    EXPECT_FALSE(m_pConfig->isMergeWindow());
}

// Also the only reading of a UTF-16 file: the attribute written back was read from it.
TEST_F(ConfigTest, Utf16FileIsReadAndSavedAsUtf8)
{
    ASSERT_TRUE(loadText(utf16le(u"<c use_for_studio=\"true\"/>")));
    m_pConfig->setMergeWindow(true);
    ASSERT_TRUE(m_pConfig->save());
    EXPECT_EQ(m_temp.readFile("config.xml"),
              "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<c merge_window=\"true\" use_for_studio=\"true\"/>\n");
}

// POSIX only (symbolic links, modes, file size limits): listed in tests/WindowsSkips.cmake.
#ifndef _WIN32
// What belongs to the user survives a save: a link stays a link and the file
// it leads to is updated with its mode kept, and a file named like a
// temporary is not touched.
TEST_F(ConfigTest, SaveUpdatesTheLinkedFileKeepingItsModeAndTheUsersFiles)
{
    m_temp.writeFile("real/engine.xml", "<c use_for_studio=\"true\"/>");
    ASSERT_EQ(chmod(m_temp.native("real/engine.xml").c_str(), 0640), 0);
    m_temp.writeFile("conf/engine.xml.tmp", "mine");
    fs::create_symlink("../real/engine.xml", m_temp.native("conf/engine.xml"));
    ASSERT_TRUE(m_pConfig->load(m_temp.path("conf/engine.xml")));
    m_pConfig->setMergeWindow(true);
    ASSERT_TRUE(m_pConfig->save());

    EXPECT_TRUE(fs::is_symlink(m_temp.native("conf/engine.xml")));
    EXPECT_NE(m_temp.readFile("real/engine.xml").find("merge_window=\"true\""), std::string::npos);
    EXPECT_EQ(fs::status(m_temp.native("real/engine.xml")).permissions(),
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    EXPECT_EQ(m_temp.readFile("conf/engine.xml.tmp"), "mine");
    EXPECT_EQ(names(m_temp.native("real")), std::vector<std::string>{"engine.xml"});
}

TEST_F(ConfigTest, FailedSaveLeavesTheOldFileAndNoTemporary)
{
    const std::string text = "<c use_for_studio=\"true\" merge_window=\"false\"/>";
    // The folder vanished: it is not made again.
    ASSERT_TRUE(loadText(text, "gone/config.xml"));
    fs::remove_all(m_temp.native("gone"));
    m_pConfig->setMergeWindow(true);
    CLogRecorder log;
    EXPECT_FALSE(m_pConfig->save());
    EXPECT_EQ(log.take(), std::vector<std::u16string>{u"Warning|The configuration file " +
                                                      str(m_temp.path("gone/config.xml")) + u" cannot be saved."});
    EXPECT_TRUE(m_pConfig->isModified());
    EXPECT_FALSE(m_temp.exists("gone"));

    // A folder that cannot be written (permissions do not bind the super-user).
    ASSERT_TRUE(loadText(text, "ro/config.xml"));
    ASSERT_EQ(chmod(m_temp.native("ro").c_str(), 0555), 0);
    if (access(m_temp.native("ro").c_str(), W_OK) != 0) {
        m_pConfig->setMergeWindow(true);
        EXPECT_FALSE(m_pConfig->save());
        EXPECT_EQ(names(m_temp.native("ro")), std::vector<std::string>{"config.xml"});
    }
    chmod(m_temp.native("ro").c_str(), 0755);

    // Writing fails half-way (a file size limit, set in a child process).
    ASSERT_TRUE(loadText(text));
    m_pConfig->setMergeWindow(true);
    CConfigParser* pConfig = m_pConfig;
    const auto saveWithLimit = [pConfig] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit;
        limit.rlim_cur = limit.rlim_max = 8;
        setrlimit(RLIMIT_FSIZE, &limit);
        std::_Exit(pConfig->save() ? 1 : 0);
    };
    EXPECT_EXIT(saveWithLimit(), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(m_temp.readFile("config.xml"), text);
    EXPECT_EQ(names(m_temp.native()), (std::vector<std::string>{"config.xml", "ro"}));
}
#endif
