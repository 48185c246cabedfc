#include <system/CSystem.h>

#include <platform/ISystem.h>
#include <platform/PlatformImp.h>
#include <system/CLogEngine.h>
#include <text/CStringConverter.h>

namespace Trell {

namespace {

const char16_t* const VERSION_TEXT = u"Enterprise Version 2.8.2";
const char16_t* const BUILD_DATE_TEXT = u"Build Date 2021.04.30";

// Runs one call on a platform object made for it; nothing when that cannot
// be allocated.
template <class Call>
void withSystem(const Call& call)
{
    if (ISystem* pSystem = PlatformImp::createSystem()) {
        call(*pSystem);
        delete pSystem;
    }
}

void info(const char16_t* pszFormat, const char16_t* pszAppName)
{
    CLogEngine::info(CStringConverter::format(pszFormat, pszAppName));
}

} // namespace

CSystem::CSystem()
{}

CSystem::CSystem(const CSystem& other) : CObject(other)
{}

CSystem& CSystem::operator=(const CSystem&)
{
    return *this;
}

CSystem::~CSystem()
{}

bool CSystem::parseBinInfo(int argc, char** argv, const char16_t* pszAppName)
{
    if (argc != 2 || !argv || !argv[1])
        return false;
    CString strArgument;
    CStringConverter::convertFromMBCS(argv[1], strArgument);
    const char16_t* pszApp = pszAppName ? pszAppName : u"";
    if (strArgument.compareIC(u"-v") == 0 || strArgument.compareIC(u"version") == 0) {
        CLogEngine::info(CStringConverter::format(u"%ls %ls %ls", pszApp, VERSION_TEXT, BUILD_DATE_TEXT));
        return true;
    }
    if (strArgument.compareIC(u"-h") != 0 && strArgument.compareIC(u"help") != 0)
        return false;
    info(u"Usage: %ls [options]", pszApp);
    CLogEngine::info(u"Options:");
    if (CString(pszApp) != u"TrellStudio")
        info(u"  [Path]\tRun %s with the full path of project root folder.", pszApp);
    else
        info(u"  void\tRun %s", pszApp);
    CLogEngine::info(u"  -v\tDisplay version information.");
    CLogEngine::info(u"  version\tDisplay version information.");
    CLogEngine::info(u"  -h\tDisplay help information.");
    CLogEngine::info(u"  help\tDisplay help information.");
    return true;
}

void CSystem::startProcess(const CString& strPath, const CString& strParameters, bool bShow, bool bWait)
{
    withSystem([&](ISystem& system) { system.startProcess(strPath, strParameters, bShow, bWait); });
}

void CSystem::openURL(const CString& strURL)
{
    withSystem([&](ISystem& system) { system.openURL(strURL); });
}

void CSystem::executeSystemCommand(const CString& strCommand, bool bWait)
{
    withSystem([&](ISystem& system) { system.executeSystemCommand(strCommand, bWait); });
}

void CSystem::executeSystemCommand(const CString& strCommand, bool bWait, CString& strOutput)
{
    withSystem([&](ISystem& system) { system.executeSystemCommand(strCommand, bWait, strOutput); });
}

void CSystem::writeToClipboard(const CString& strText)
{
    withSystem([&](ISystem& system) { system.writeToClipboard(strText); });
}

CString CSystem::readFromClipboard()
{
    CString strText(u"");
    withSystem([&](ISystem& system) { strText = system.readFromClipboard(); });
    return strText;
}

} // namespace Trell
