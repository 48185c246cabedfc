#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectArray.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

// Platform folder services behind CFolder.
class ECS_API IFolder
{
    TRELL_DECLARE_ALLOCATOR(u"IFolder")

public:
    // One listed entry of a folder.
    class ECS_API tagEntry : public CObject
    {
        TRELL_DECLARE_ALLOCATOR(u"IFolder::tagEntry")

    public:
        tagEntry() : isFolder(false) {}
        ~tagEntry() override {}

        CString path; // folder + "/" + name
        CString name; // the bare name
        bool isFolder;
    };

    virtual ~IFolder() {}

    // Creates the folder and any missing folders above it; true when it
    // exists afterwards.
    virtual bool createFolder(const CString& strPath) = 0;
    // Removes an empty folder.
    virtual bool deleteFolder(const CString& strPath) = 0;
    // Appends the visible entries of a folder (files and folders; hidden
    // entries, devices, "." and ".." are left out) in the order the system
    // lists them. False when the folder cannot be listed.
    virtual bool listEntries(const CString& strPath, CObjectArray<tagEntry>& aryEntries) = 0;
};

} // namespace Trell
