#include "ServiceProcess.h"
#include "SimOptions.h"
#include "SimServer.h"

int main(int argc, char* argv[])
{
    return ServiceProcess::run<SimOptions, SimServer>(argc, argv, "relka-sim");
}
