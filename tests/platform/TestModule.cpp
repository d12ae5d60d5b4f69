// A module for the tests of loading modules: one exported function.
extern "C" __attribute__((visibility("default"))) int lumenoTestAnswer()
{
    return 42;
}
