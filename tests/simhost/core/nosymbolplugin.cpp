// A loadable library that is not a plug-in: it lacks the entry function.
extern "C" __attribute__((visibility("default"))) int notThePluginEntry()
{
    return 42;
}
