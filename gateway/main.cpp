#include "GatewayOptions.h"
#include "GatewayServer.h"
#include "ServiceProcess.h"

int main(int argc, char* argv[])
{
    return ServiceProcess::run<GatewayOptions, GatewayServer>(argc, argv, "relka-gateway");
}
