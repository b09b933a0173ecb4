// SPDX-License-Identifier: Apache-2.0

#include "SignalBlock.h"

#include <initializer_list>

namespace velo {

SignalBlock::SignalBlock() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
        sigdelset(&blocked, fault);
    }
    pthread_sigmask(SIG_BLOCK, &blocked, &mPrevious);
}

SignalBlock::~SignalBlock() {
    pthread_sigmask(SIG_SETMASK, &mPrevious, nullptr);
}

}  // namespace velo
