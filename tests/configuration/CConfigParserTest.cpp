#include <configuration/CConfigParser.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include "document/DocumentTestUtil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>
#ifndef _WIN32
#include <sys/resource.h>
#include <unistd.h>
#endif

using namespace Trell;
using DocumentTest::str;
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

const char* const FULL_SAMPLE =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<engine_config use_for_studio=\"false\" merge_window=\"true\">\n"
    "  <log_level info=\"false\" warning=\"false\" error=\"false\" debug=\"true\" performance=\"true\"/>\n"
    "  <log_output terminal=\"false\" file_size=\"0x8000\" file_path_win=\"logs/engine.log\"/>\n"
    "  <mem_report_output file_path_win=\"/abs/mem.txt\"/>\n"
    "  <thread_set>\n"
    "    <thread id=\"mq\" name=\"Queue\" priority=\"1\"/>\n"
    "    <thread id=\"tm\" name=\"Timer\" priority=\"2\"/>\n"
    "    <thread id=\"sc\" name=\"Screen\" priority=\"3\"/>\n"
    "    <thread id=\"gr\" name=\"Graphic\" priority=\"4\"/>\n"
    "    <thread id=\"ap\" name=\"Audio\" priority=\"5\"/>\n"
    "    <thread id=\"sm\" name=\"Share\" priority=\"6\"/>\n"
    "    <thread id=\"dt\" name=\"Transfer\" priority=\"7\"/>\n"
    "    <thread id=\"hc\" name=\"Host\" priority=\"8\"/>\n"
    "    <thread id=\"wb\" name=\"Web\" priority=\"9\"/>\n"
    "    <thread id=\"rp\" name=\"Report\" priority=\"10\"/>\n"
    "    <thread id=\"rs\" name=\"Resource\" priority=\"-11\"/>\n"
    "    <thread id=\"zz\" name=\"Nobody\" priority=\"99\"/>\n"
    "  </thread_set>\n"
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

std::string utf16File(const std::u16string& text)
{
    std::string bytes = "\xFF\xFE";
    for (char16_t ch : text) {
        bytes += static_cast<char>(ch & 0xFF);
        bytes += static_cast<char>(ch >> 8);
    }
    return bytes;
}

// Every scalar setting in a fixed order, so that a whole configuration is
// checked against one row of expected values.
std::vector<std::pair<const char*, long long>> scalars(const CConfigParser* c)
{
    const auto* lv = c->getLogLevel();
    const auto* rc = c->getResourceCache();
    const auto* rn = c->getRenderCache();
    const auto* rp = c->getRenderParam();
    const auto* rt = c->getRenderText();
    const auto* tp = c->getTouchParam();
    const auto* gp = c->getGestureParam();
    return {{"use_for_studio", c->isUsedForStudio()}, {"merge_window", c->isMergeWindow()},
            {"info", lv->info}, {"warning", lv->warning}, {"error", lv->error}, {"debug", lv->debug},
            {"performance", lv->performance}, {"terminal", c->getLogOutput()->terminal},
            {"file_size", c->getLogOutput()->file_size},
            {"rc.character", rc->character}, {"rc.image", rc->image}, {"rc.shader", rc->shader},
            {"rc.mesh", rc->mesh}, {"rc.audio", rc->audio},
            {"text_texture_size", rn->text_texture_size}, {"rn.character", rn->character},
            {"small_texture", rn->small_texture}, {"big_texture", rn->big_texture},
            {"big_texture_width", rn->big_texture_width}, {"big_texture_height", rn->big_texture_height},
            {"rn.mesh", rn->mesh}, {"program", rn->program},
            {"android_simulator", rp->android_simulator}, {"vertical_sync", rp->vertical_sync},
            {"high_quality", rp->high_quality}, {"anti_aliasing", rp->anti_aliasing}, {"sample_count", rp->sample_count},
            {"rectangle_offset_x", c->getRenderGeometry()->rectangle_offset_x},
            {"rectangle_offset_y", c->getRenderGeometry()->rectangle_offset_y},
            {"scale_width", rt->scale_width}, {"scale_height", rt->scale_height}, {"auto_hinting", rt->auto_hinting},
            {"support_complex_language", rt->support_complex_language},
            {"waver_distance", tp->waver_distance}, {"long_press_delay", tp->long_press_delay},
            {"continuous_press_interval", tp->continuous_press_interval},
            {"double_tap_interval", tp->double_tap_interval},
            {"finger_time_interval", gp->finger_time_interval}, {"flip_min_distance", gp->flip_min_distance},
            {"rotate_min_angle", gp->rotate_min_angle}, {"spread_pinch_min_distance", gp->spread_pinch_min_distance},
            {"fps", c->getAnimationParam()->fps}, {"surface count", c->getSurfaceCount()}};
}

void expectScalars(const CConfigParser* c, const std::vector<long long>& expected)
{
    const auto fields = scalars(c);
    ASSERT_EQ(fields.size(), expected.size());
    for (std::size_t i = 0; i < fields.size(); ++i)
        EXPECT_EQ(fields[i].second, expected[i]) << fields[i].first;
}

void expectDefaults(const CConfigParser* c)
{
    expectScalars(c, {0, 0, 1, 1, 1, 0, 0, 1, 0x100000, 1024, 100, 100, 50, 10, 256, 1024, 100, 10, 1280, 720, 50,
                      100, 1, 1, 1, 1, 4, 1, 1, 100, 100, 1, 0, 25, 500, 100, 200, 200, 50, 5, 50, 50, 0});
    EXPECT_EQ(c->getLogOutput()->file_path_win.length(), 0u);
    EXPECT_EQ(c->getMemReportOutput()->file_path_win.length(), 0u);
    EXPECT_EQ(str(c->getRenderParam()->image_no_extern), u"png");
    EXPECT_EQ(c->getDisplayCount(), 0u);
    for (int i = 0; i < CConfigParser::tagThread::SLOT_COUNT; ++i) {
        EXPECT_EQ(c->getThread()->priority[i], 51) << i;
        EXPECT_EQ(c->getThread()->name[i].length(), 0u) << i;
    }
}

// The names in a folder, hidden ones included, sorted.
std::vector<std::string> names(const std::string& strFolder)
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

// ---- Defaults and loading ---------------------------------------------------------

TEST_F(ConfigTest, DefaultsBeforeLoadOnEmptyRootAndAfterReload)
{
    expectDefaults(m_pConfig);
    ASSERT_TRUE(loadText("<whatever/>"));
    expectDefaults(m_pConfig);
    ASSERT_TRUE(loadText(FULL_SAMPLE));
    ASSERT_TRUE(loadText("<c/>", "second.xml"));
    expectDefaults(m_pConfig);
    EXPECT_EQ(str(m_pConfig->getPath()), str(m_temp.path("second.xml")));
}

TEST_F(ConfigTest, MissingOrMalformedFileFailsAndKeepsPreviousSettings)
{
    ASSERT_TRUE(loadText("<c use_for_studio=\"true\"><touch_param waver_distance=\"7\"/></c>"));
    const CString strPath = m_pConfig->getPath();
    EXPECT_FALSE(m_pConfig->load(m_temp.path("missing.xml")));
    EXPECT_FALSE(loadText("<c><touch_param waver_distance=\"8\"></c>", "broken.xml"));
    EXPECT_EQ(m_pConfig->getTouchParam()->waver_distance, 7u);
    EXPECT_EQ(str(m_pConfig->getPath()), str(strPath));
    // Whatever document was kept is released with the failed load.
    m_pConfig->setMergeWindow(true);
    EXPECT_FALSE(m_pConfig->save());
}

TEST_F(ConfigTest, EveryRecordReadFromFullSample)
{
    ASSERT_TRUE(loadText(FULL_SAMPLE));
    const CConfigParser* c = m_pConfig;
    expectScalars(c, {0, 1, 0, 0, 0, 1, 1, 0, 0x8000, 11, 12, 13, 14, 15, 21, 22, 23, 24, 25, 26, 27, 28,
                      0, 0, 0, 0, 8, -2, 3, 31, 32, 0, 1, 41, 42, 43, 44, 51, 52, 53, 54, 60, 2});
    EXPECT_EQ(str(c->getLogOutput()->file_path_win), str(m_temp.path("logs/engine.log")));
    EXPECT_EQ(str(c->getMemReportOutput()->file_path_win), u"/abs/mem.txt");
    EXPECT_EQ(str(c->getRenderParam()->image_no_extern), u"jpg");

    const char16_t* const names[] = {u"Queue", u"Timer", u"Screen", u"Graphic", u"Audio", u"Share",
                                     u"Transfer", u"Host", u"Web", u"Report", u"Resource"};
    const CConfigParser::tagThread* th = c->getThread();
    for (int i = 0; i < CConfigParser::tagThread::SLOT_COUNT; ++i) {
        EXPECT_EQ(str(th->name[i]), names[i]) << i;
        EXPECT_EQ(th->priority[i], i == 10 ? -11 : i + 1) << i;
    }
    EXPECT_EQ(str(th->getName(u"tm")), u"Timer");
    EXPECT_EQ(th->getPriority(u"dt"), 7);
    EXPECT_EQ(th->getPriority(u"zz"), 51);
    EXPECT_EQ(th->getName(u"zz").length(), 0u);

    const CConfigParser::tagSurface* s = c->getSurfaceByIndex(0);
    ASSERT_NE(s, nullptr);
    EXPECT_TRUE(s->use);
    EXPECT_EQ(str(s->name), u"main");
    EXPECT_EQ(str(s->display_name), u"Center");
    const long long surfaceValues[] = {s->display_id, s->layer_id, s->surface_id, s->offset_x, s->offset_y,
                                       s->width, s->width_default, s->height, s->height_default};
    const long long expectedValues[] = {1, 2, 3, -4, 5, 800, 1024, 480, 600};
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(surfaceValues[i], expectedValues[i]) << i;
    EXPECT_TRUE(s->enable_touch);
    EXPECT_TRUE(s->enable_gesture);
    EXPECT_EQ(s->initial_color, 0xFF00FF00u);
    EXPECT_EQ(s->param, nullptr);
    const CConfigParser::tagSurface* spare = c->getSurfaceByIndex(1);
    ASSERT_NE(spare, nullptr);
    EXPECT_FALSE(spare->use);
    EXPECT_EQ(spare->display_name.length(), 0u);
    EXPECT_EQ(spare->width, 0u);
    EXPECT_FALSE(spare->enable_touch);
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
    EXPECT_FALSE(c->isUsedForStudio());
    EXPECT_FALSE(c->isMergeWindow());
    EXPECT_FALSE(c->getLogLevel()->info);
    EXPECT_FALSE(c->getLogLevel()->debug);
    EXPECT_FALSE(c->getLogOutput()->terminal);
    EXPECT_FALSE(c->getRenderParam()->vertical_sync);
    // Non-numbers are not reported; they become whatever the conversion makes.
    EXPECT_EQ(c->getLogOutput()->file_size, 0u);
    EXPECT_EQ(c->getThread()->getPriority(u"tm"), 0);
    EXPECT_EQ(c->getAnimationParam()->fps, 0u);
    EXPECT_EQ(c->getRenderGeometry()->rectangle_offset_x, 12);
    EXPECT_EQ(c->getRenderParam()->sample_count, CStringConverter::toUInt(u"-1"));
    // Ids are exact: "TM" and a missing id select no slot.
    for (int i = 0; i < CConfigParser::tagThread::SLOT_COUNT; ++i) {
        if (i != CConfigParser::tagThread::SLOT_TM) {
            EXPECT_EQ(c->getThread()->priority[i], 51) << i;
        }
    }
    // A present render_param without the attribute empties the extension.
    EXPECT_EQ(c->getRenderParam()->image_no_extern.length(), 0u);
}

TEST(ConfigThreadSlots, IdsMapToSlotsInOrder)
{
    const char16_t* const ids[] = {u"mq", u"tm", u"sc", u"gr", u"ap", u"sm", u"dt", u"hc", u"wb", u"rp", u"rs"};
    for (int i = 0; i < CConfigParser::tagThread::SLOT_COUNT; ++i) {
        EXPECT_EQ(CConfigParser::tagThread::getSlotIndex(ids[i]), i);
        EXPECT_EQ(std::u16string(CConfigParser::tagThread::getSlotId(i)), ids[i]);
    }
    EXPECT_EQ(CConfigParser::tagThread::getSlotIndex(u"m"), -1);
    EXPECT_EQ(CConfigParser::tagThread::getSlotIndex(u"mqx"), -1);
    EXPECT_EQ(CConfigParser::tagThread::getSlotIndex(nullptr), -1);
    EXPECT_EQ(CConfigParser::tagThread::getSlotId(CConfigParser::tagThread::SLOT_COUNT), nullptr);
}

// ---- Paths ---------------------------------------------------------------------------

TEST_F(ConfigTest, RelativePathsResolveAgainstTheFilesFolder)
{
    const std::string text = "<c use_for_studio=\"true\"><log_output file_path_win=\"log\"/>"
                             "<mem_report_output file_path_win=\"../report/mem.txt\"/></c>";
    ASSERT_TRUE(loadText(text, "sub/config.xml"));
    EXPECT_EQ(str(m_pConfig->getFolder()), str(m_temp.path("sub")));
    EXPECT_EQ(str(m_pConfig->getLogOutput()->file_path_win), str(m_temp.path("sub/log")));
    EXPECT_EQ(str(m_pConfig->getMemReportOutput()->file_path_win), str(m_temp.path("report/mem.txt")));

    // A file named relative to the current folder is resolved at load, so a
    // later change of folder moves neither the paths nor the save.
    const fs::path previous = fs::current_path();
    fs::current_path(m_temp.native("sub"));
    const bool bLoaded = m_pConfig->load(CString(u"config.xml"));
    fs::current_path(previous);
    ASSERT_TRUE(bLoaded);
    EXPECT_EQ(str(m_pConfig->getFolder()), str(m_temp.path("sub")));
    EXPECT_EQ(str(m_pConfig->getLogOutput()->file_path_win), str(m_temp.path("sub/log")));
    EXPECT_EQ(str(m_pConfig->getMemReportOutput()->file_path_win), str(m_temp.path("report/mem.txt")));
    m_pConfig->setMergeWindow(true);
    ASSERT_TRUE(m_pConfig->save());
    EXPECT_NE(m_temp.readFile("sub/config.xml").find("merge_window"), std::string::npos);
}

// ---- Surfaces ------------------------------------------------------------------------

TEST_F(ConfigTest, UnusedSurfacesKeepTheirIndexButAreNotCounted)
{
    ASSERT_TRUE(loadText(surfaces("<surface use=\"true\" name=\"a\" display_id=\"0\" layer_id=\"0\"/>"
                                  "<surface name=\"b\" display_id=\"5\" layer_id=\"7\"/>"
                                  "<surface use=\"true\" name=\"c\" display_id=\"0\" layer_id=\"1\"/>"
                                  "<surface use=\"false\" name=\"d\" display_id=\"0\" layer_id=\"9\"/>"
                                  "<surface use=\"true\" name=\"e\" display_id=\"2\" layer_id=\"1\"/>"
                                  "<surface use=\"true\" name=\"f\" display_id=\"0\" layer_id=\"1\"/>")));
    const CConfigParser* c = m_pConfig;
    EXPECT_EQ(c->getSurfaceCount(), 6u);
    ASSERT_NE(c->getSurfaceByIndex(1), nullptr);
    EXPECT_EQ(str(c->getSurfaceByIndex(1)->name), u"b");
    EXPECT_EQ(c->getSurfaceByIndex(6), nullptr);

    EXPECT_EQ(c->getDisplayCount(), 2u);
    EXPECT_EQ(c->getLayerCount(0), 2u);
    EXPECT_EQ(c->getLayerCount(2), 1u);
    EXPECT_EQ(c->getLayerCount(5), 0u);
    EXPECT_EQ(c->getSurfaceCount(0), 3u);
    EXPECT_EQ(c->getSurfaceCount(5), 0u);
    EXPECT_EQ(c->getSurfaceCount(0, 1), 2u);
    EXPECT_EQ(c->getSurfaceCount(0, 9), 0u);
    EXPECT_EQ(c->getSurfaceCount(5, 7), 0u);
}

TEST_F(ConfigTest, FirstSurfaceInLayerLooksBackToTheNearestUsedSurface)
{
    ASSERT_TRUE(loadText(surfaces("<surface use=\"true\" display_id=\"0\" layer_id=\"0\"/>"   // 0
                                  "<surface use=\"true\" display_id=\"0\" layer_id=\"0\"/>"   // 1
                                  "<surface display_id=\"0\" layer_id=\"1\"/>"                  // 2 unused
                                  "<surface use=\"true\" display_id=\"0\" layer_id=\"1\"/>"   // 3
                                  "<surface display_id=\"0\" layer_id=\"1\"/>"                  // 4 unused
                                  "<surface use=\"true\" display_id=\"0\" layer_id=\"1\"/>"   // 5
                                  "<surface use=\"true\" display_id=\"1\" layer_id=\"1\"/>")));  // 6
    const CConfigParser* c = m_pConfig;
    EXPECT_TRUE(c->isFirstSurfaceInLayer(0));
    EXPECT_FALSE(c->isFirstSurfaceInLayer(1));
    EXPECT_TRUE(c->isFirstSurfaceInLayer(3));  // skips unused 2, finds layer 0
    EXPECT_FALSE(c->isFirstSurfaceInLayer(5)); // skips unused 4, finds 3 on the same layer
    EXPECT_TRUE(c->isFirstSurfaceInLayer(6));  // other display
    EXPECT_TRUE(c->isFirstSurfaceInLayer(7));  // out of range
    EXPECT_TRUE(c->isFirstSurfaceInLayer(100));

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
    m_pConfig->changeSurfaceSize(0, 800, 480);
    EXPECT_FALSE(m_pConfig->isModified());
    m_pConfig->changeSurfaceSize(1, 1, 1); // out of range
    EXPECT_FALSE(m_pConfig->isModified());

    m_pConfig->changeSurfaceSize(0, 0, 0);
    EXPECT_TRUE(m_pConfig->isModified());
    EXPECT_EQ(m_pConfig->getSurfaceByIndex(0)->width, 1024u);
    EXPECT_EQ(m_pConfig->getSurfaceByIndex(0)->height, 600u);

    m_pConfig->changeSurfaceSize(0, 640, 0);
    EXPECT_EQ(m_pConfig->getSurfaceByIndex(0)->width, 640u);
    EXPECT_EQ(m_pConfig->getSurfaceByIndex(0)->height, 600u);

    // Width 0 with a default of 0: the width does not differ, nothing is marked.
    ASSERT_TRUE(loadText(surfaces("<surface/>"), "zero.xml"));
    m_pConfig->changeSurfaceSize(0, 0, 0);
    EXPECT_FALSE(m_pConfig->isModified());
}


// ---- Studio save ---------------------------------------------------------------------

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
    EXPECT_TRUE(m_pConfig->isMergeWindow());
    EXPECT_TRUE(m_pConfig->isUsedForStudio());
    ASSERT_EQ(m_pConfig->getSurfaceCount(), 2u);
    EXPECT_EQ(m_pConfig->getSurfaceByIndex(0)->width, 1024u);
    EXPECT_EQ(m_pConfig->getSurfaceByIndex(0)->height, 600u);
    EXPECT_EQ(m_pConfig->getSurfaceByIndex(0)->initial_color, 0x10u);
    EXPECT_EQ(m_pConfig->getSurfaceByIndex(1)->width, 30u);
    EXPECT_EQ(m_pConfig->getSurfaceByIndex(1)->height, 40u);

    // merge_window written back as false too.
    m_pConfig->setMergeWindow(false);
    ASSERT_TRUE(m_pConfig->save());
    ASSERT_TRUE(m_pConfig->load(m_temp.path("config.xml")));
    EXPECT_FALSE(m_pConfig->isMergeWindow());
}

// Also the only reading of a UTF-16 file: the attribute written back was read from it.
TEST_F(ConfigTest, Utf16FileIsReadAndSavedAsUtf8)
{
    ASSERT_TRUE(loadText(utf16File(u"<c use_for_studio=\"true\"/>")));
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
    struct stat st;
    ASSERT_EQ(stat(m_temp.native("real/engine.xml").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
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
    EXPECT_FALSE(m_pConfig->save());
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
