#include "TamoLog.h"

#include <cstdio>
#include <cstring>

namespace tamo::logging {

void formatPrefix(char* buf, size_t size, const char* file, int line,
                  const char* function, const char* message)
{
    const char* base = std::strrchr(file, '/');
    base = base != nullptr ? base + 1 : file;
    std::snprintf(buf, size, "%s:%d %s() %s", base, line, function, message);
}

} // namespace tamo::logging
