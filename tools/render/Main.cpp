#include "host/Arguments.h"
#include "render/Program.h"

#include <iostream>

int main(int argc, char** argv) {
    return tovix::render::runProgram(tovix::programArguments(argc, argv), std::cout, std::cerr);
}
