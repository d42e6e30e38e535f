#include "platform/base/open_file.h"
#include "tools/distnetctl/app.h"
#include "tools/distnetctl/interrupt.h"

int main(int argc, char** argv)
{
    Vexo::OpenClosedStandardStreams();
    Vexo::Ctl::BlockInterrupts();
    return Vexo::Ctl::RunApp(argc, argv);
}
