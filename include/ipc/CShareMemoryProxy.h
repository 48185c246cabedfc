#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>

namespace Trell {

class CShareMemory;
class IShareMemoryListener;

// A forwarding facade that owns one CShareMemory: created with the proxy,
// closed and deleted with it. Same threading contract as CShareMemory.
// Without its channel (no memory) every call does nothing and answers
// false or 0.
class ECS_API CShareMemoryProxy : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CShareMemoryProxy")

public:
    CShareMemoryProxy();
    ~CShareMemoryProxy() override;

    void setListener(IShareMemoryListener* pListener);
    // bWriter true opens a writer (mode 1), false a reader.
    bool open(unsigned int uiKey, bool bWriter, unsigned int uiSize);
    void close();
    bool isEmpty() const;
    unsigned int getSize() const;
    bool writeData(const unsigned char* pData, unsigned int uiLength);
    bool readData(unsigned char* pBuffer, unsigned int uiLength);

protected:
    CShareMemoryProxy(const CShareMemoryProxy& other) = delete;
    CShareMemoryProxy& operator=(const CShareMemoryProxy& other) = delete;

private:
    CShareMemory* m_pShareMemory;
};

} // namespace Trell
