// revhoard: one synchronisation of the local history cache.
int main(int argc, char** argv) { return 0; }
