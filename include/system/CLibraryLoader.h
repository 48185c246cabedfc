#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

// One plug-in module, loaded by path, and the single entry object its
// exported "getInstance" (no arguments, returning a pointer) hands out.
// Progress and failures are logged under the engine category; an empty name
// prints as empty text. The destructor unloads. One loader is used by one
// thread at a time.
class ECS_API CLibraryLoader : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CLibraryLoader")

public:
    CLibraryLoader();
    ~CLibraryLoader() override;

    // A display name, used only in log lines.
    void setName(const CString& strName) { m_strName = strName; }
    const CString& getName() const { return m_strName; }
    void setPath(const CString& strPath) { m_strPath = strPath; }
    const CString& getPath() const { return m_strPath; }
    bool hasLoad() const { return m_pModule != nullptr; }

    // True at once when loaded. An empty path fails with the warning
    // "No library to load <name>."; otherwise "Begin to load <name>: <path>."
    // then "Successfully load <name>." or the error "Can't load <name>.".
    bool load();
    // When loaded: forgets the entry object, unloads, logs "Free <name>." and
    // empties the path, so the next load needs setPath first.
    void unLoad();
    // The module's entry object, asked once and kept. Null, with the error
    // "Need to load library first." when not loaded, or "Can't get entry
    // point of <name>." when the module has no "getInstance" or it returns
    // null (a later call asks again).
    void* getEntryInstance();

protected:
    CLibraryLoader(const CLibraryLoader& other);
    CLibraryLoader& operator=(const CLibraryLoader& other);

private:
    CString m_strName;
    CString m_strPath;
    void* m_pModule;
    void* m_pEntryInstance;
};

} // namespace Trell
