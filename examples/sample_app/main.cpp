#include "platform/Log.h"

int main()
{
    lumora::platform::Log::setEchoToStandardError(true);
    lumora::platform::Log::ordinary("Lumora sample app");
    return 0;
}
