// A loadable module whose "getInstance" gives null on its first call and its
// object on every later one.
static int s_iCalls = 0, s_iEntryObject = 4343;

extern "C" __attribute__((visibility("default"))) void* getInstance()
{
    return s_iCalls++ == 0 ? nullptr : &s_iEntryObject;
}
