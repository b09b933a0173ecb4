// SPDX-License-Identifier: Apache-2.0

#include "modem/Fault.h"

namespace velo::modem {

const std::array<FaultDefinition, kFaultCount> kFaults{{
    {"reject", "A request is answered with a failed result and not carried out"},
    {"drop", "A request is carried out, and its answer is lost"},
    {"delay", "An answer comes late, by at most delay-ms; others overtake it"},
    {"damage-answer", "An answer with a list or with settings is damaged in one of four ways"},
    {"close", "A request is carried out, and its connection is closed in place of the answer"},
    {"restart",
     "The modem restarts as a request comes in, before its answer, between its answer and what "
     "follows, or after both"},
    {"foreign",
     "After a request another client adds a profile, or changes or deletes one that it added"},
    {"duplicate", "An indication is sent twice"},
    {"reorder", "An indication is sent after the next one"},
    {"damage-indication", "An indication is cut short"},
    {"unknown", "After a request come an indication and an event that nobody knows"},
    {"spurious", "After a request a change is reported that never was"},
}};

}  // namespace velo::modem
