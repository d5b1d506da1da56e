// The program. All of it but this line is a library that the tests link too.

#include "client/run.h"

int main(int argc, char** argv) { return static_cast<int>(trel::RunClient(argc, argv)); }
