// SPDX-License-Identifier: Apache-2.0

#include "tool/Program.h"

int main(int argc, char** argv) {
    return velo::tool::run(argc, argv);
}
