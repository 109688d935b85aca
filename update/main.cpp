#include "update/ProductionUpdateServices.h"
#include "update/UpdateDriver.h"

// revhoard: one synchronisation of the local history cache.
int main(int argc, char** argv) {
  ProductionUpdateServices services;
  return UpdateMain(argc, argv, services);
}
