// A short tour of what the library offers so far.
#include <EngineCoreSystem.h>

#include <cstdio>

using namespace Trell;

int main()
{
    CObjectPtr<CObject> object(new CObject);
    std::printf("an object held by one pointer has %d reference(s)\n", object->getRef());
    return 0;
}
