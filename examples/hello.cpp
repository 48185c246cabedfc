// A short tour of the library: strings and conversions, containers,
// reference-counted objects, paths and calendar time.
#include <EngineCoreSystem.h>

using namespace Trell;

namespace {

class CGreeting : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CGreeting")
public:
    explicit CGreeting(const CString& text) : m_text(text) {}
    const CString& text() const { return m_text; }

private:
    CString m_text;
};

} // namespace

int main(int argc, char** argv)
{
    // Text is UTF-16; the console gets UTF-8.
    CString name(u"\u4e16\u754c");
    if (argc > 1)
        CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(argv[1]), name);
    CStringConverter::printf(u"Hello, %s! (%u UTF-16 units)\n", name.buffer(), name.length());

    // Lists from text and back, and an ordered map counting the words.
    CDataArray<CString> words;
    CStringConverter::separateString(CString(u"tap,swipe,tap,press,swipe,tap"), u',', words);
    CDataMap<CString, unsigned int, tagStringCompare> counts;
    for (const CString& word : words) {
        if (unsigned int* count = counts.find(word))
            ++*count;
        else
            counts.insert(word, 1u);
    }
    for (unsigned int i = 0; i < counts.getCount(); ++i)
        CStringConverter::printf(u"  %-6s %u\n", counts.getKeyAt(i).buffer(), counts.getValueAt(i));

    // Objects are shared by reference count.
    CObjectPtr<CGreeting> greeting(new CGreeting(CStringConverter::format(u"%s says hi", name.buffer())));
    CObjectPtr<CObject> alias(greeting);
    CStringConverter::printf(u"%s (held %d times)\n", greeting->text().buffer(), greeting->getRef());

    // Paths are combined the way the engine's projects expect, with "/" separators.
    CString project = CPath::generateAbsolutePath(CString(u"/opt/hmi/project/"), CString(u"..\\assets\\.\\logo.png"));
    CStringConverter::printf(u"asset: %s\n", project.buffer());

    static const char16_t* const s_weekdays[] = {u"Sunday",   u"Monday", u"Tuesday", u"Wednesday",
                                                 u"Thursday", u"Friday", u"Saturday"};
    CTime now = CTime::getCurrentTime();
    CStringConverter::printf(u"today is %s, %04u-%02u-%02u\n", s_weekdays[now.getDayOfWeek() % 7], now.getYear(),
                             now.getMonth(), now.getDay());
    return 0;
}
