// The factories of PlatformImp.h and the owner-taking ones beside the
// owners' views (IShareMemoryOwner.h, SocketOwner.h) are the same on every
// platform: each layer's PlatformImp.cpp includes this file once, after its
// own CImp headers, so the class names below are that layer's classes.

namespace Trell {
namespace PlatformImp {

namespace {

// The object takes ownership of pOwner; when it cannot be allocated, the
// owner is deleted at once.
template <class TImp, class TInterface, class TOwner>
TInterface* createOwning(TOwner* pOwner)
{
    TInterface* pImpl = new TImp(pOwner);
    if (!pImpl)
        delete pOwner;
    return pImpl;
}

} // namespace

ISyncObject* createSyncObject()
{
    return new CImpSyncObject();
}

IWaitObject* createWaitObject(const CString& strName)
{
    return new CImpWaitObject(strName);
}

IThread* createThread(CThread* pOwner)
{
    return new CImpThread(pOwner);
}

IPath* createPath()
{
    return new CImpPath();
}

IFile* createFile()
{
    return new CImpFile();
}

IFolder* createFolder()
{
    return new CImpFolder();
}

ILibraryLoader* createLibraryLoader()
{
    return new CImpLibraryLoader();
}

ISystem* createSystem()
{
    return new CImpSystem();
}

IShareMemory* createShareMemory(IShareMemoryOwner* pOwner)
{
    return createOwning<CImpShareMemory, IShareMemory>(pOwner);
}

ISocketClient* createSocketClient(ISocketClientOwner* pOwner)
{
    return createOwning<CImpSocketClient, ISocketClient>(pOwner);
}

ISocketServer* createSocketServer(ISocketServerOwner* pOwner)
{
    return createOwning<CImpSocketServer, ISocketServer>(pOwner);
}

} // namespace PlatformImp
} // namespace Trell
