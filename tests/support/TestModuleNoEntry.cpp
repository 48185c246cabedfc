// A loadable module without a "getInstance" entry point.
extern "C" __attribute__((visibility("default"))) int somethingElse()
{
    return 7;
}
