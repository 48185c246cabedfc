#include <system/CLibraryLoader.h>

#include <platform/ILibraryLoader.h>
#include <platform/PlatformImp.h>
#include <system/CLogEngine.h>
#include <text/CStringConverter.h>

namespace Trell {

namespace {

const char16_t* printable(const CString& strText)
{
    return strText.buffer() ? strText.buffer() : u"";
}

} // namespace

CLibraryLoader::CLibraryLoader() : m_pModule(nullptr), m_pEntryInstance(nullptr)
{}

// A copy names the same module but does not own a load of it.
CLibraryLoader::CLibraryLoader(const CLibraryLoader& other)
    : CObject(other), m_strName(other.m_strName), m_strPath(other.m_strPath), m_pModule(nullptr),
      m_pEntryInstance(nullptr)
{}

CLibraryLoader& CLibraryLoader::operator=(const CLibraryLoader& other)
{
    if (this != &other) {
        m_strName = other.m_strName;
        m_strPath = other.m_strPath;
    }
    return *this;
}

CLibraryLoader::~CLibraryLoader()
{
    unLoad();
}

bool CLibraryLoader::load()
{
    if (hasLoad())
        return true;
    if (m_strPath.length() == 0) {
        CLogEngine::warning2(CStringConverter::format(u"No library to load %ls.", printable(m_strName)));
        return false;
    }
    CLogEngine::info(CStringConverter::format(u"Begin to load %ls: %ls.", printable(m_strName), printable(m_strPath)));
    if (ILibraryLoader* pLoader = PlatformImp::createLibraryLoader()) {
        m_pModule = pLoader->loadLibrary(m_strPath);
        delete pLoader;
    }
    if (!hasLoad()) {
        CLogEngine::error2(CStringConverter::format(u"Can't load %ls.", printable(m_strName)));
        return false;
    }
    CLogEngine::info(CStringConverter::format(u"Successfully load %ls.", printable(m_strName)));
    return true;
}

void CLibraryLoader::unLoad()
{
    if (!hasLoad())
        return;
    m_pEntryInstance = nullptr;
    if (ILibraryLoader* pLoader = PlatformImp::createLibraryLoader()) {
        pLoader->unloadLibrary(m_pModule);
        delete pLoader;
    }
    m_pModule = nullptr;
    CLogEngine::info(CStringConverter::format(u"Free %ls.", printable(m_strName)));
    // Deliberate: a loader must be given its path again before the next
    // load; hosts rely on an unloaded loader not reloading the old module.
    m_strPath.empty();
}

void* CLibraryLoader::getEntryInstance()
{
    if (m_pEntryInstance)
        return m_pEntryInstance;
    if (!hasLoad()) {
        CLogEngine::error2(u"Need to load library first.");
        return nullptr;
    }
    if (ILibraryLoader* pLoader = PlatformImp::createLibraryLoader()) {
        m_pEntryInstance = pLoader->getEntryInstance(m_pModule);
        delete pLoader;
    }
    if (!m_pEntryInstance)
        CLogEngine::error2(CStringConverter::format(u"Can't get entry point of %ls.", printable(m_strName)));
    return m_pEntryInstance;
}

} // namespace Trell
