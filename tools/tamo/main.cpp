// Proof of life until the session demonstration exists.
#include <TamoLogControl.h>

#include <cstdio>

int main()
{
    std::printf("libtamo_utils: log level %u\n", tamo::g_logLv);
    return 0;
}
