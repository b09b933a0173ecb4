// SPDX-License-Identifier: Apache-2.0

#include "modem/program/Program.h"

int main(int argc, char** argv) {
    return velo::modem::runProgram(argc, argv);
}
