// A loadable module with the entry point the library looks for.
static int s_iEntryObject = 4242;

extern "C" __attribute__((visibility("default"))) void* getInstance()
{
    return &s_iEntryObject;
}
