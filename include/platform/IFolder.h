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
        tagEntry() : isFolder(false), isLink(false), isHidden(false) {}
        ~tagEntry() override {}

        CString path;  // folder + "/" + name
        CString name;  // the bare name
        bool isFolder; // a folder, or a link that leads to one
        // A symbolic link (or junction): an entry of its own, whatever it
        // leads to. Deleting removes the link; walks never descend through it.
        bool isLink;
        // Not shown to readers (dot-names, hidden or system entries, devices),
        // but still part of the folder when it is deleted.
        bool isHidden;
    };

    virtual ~IFolder() {}

    // Creates the folder and any missing folders above it; true when it
    // exists afterwards.
    virtual bool createFolder(const CString& strPath) = 0;
    // Removes an empty folder, or a link to a folder (the link only: what it
    // leads to is never touched).
    virtual bool deleteFolder(const CString& strPath) = 0;
    // Appends every entry of a folder except "." and ".." in the order the
    // system lists them, with its kind; links are reported as links, never
    // followed except to tell whether they lead to a folder. Which entries
    // readers see is CFolder's decision. False when the folder cannot be
    // listed.
    virtual bool listEntries(const CString& strPath, CObjectArray<tagEntry>& aryEntries) = 0;
};

} // namespace Trell
