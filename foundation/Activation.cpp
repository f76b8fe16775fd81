#include "foundation/Activation.h"

#include "foundation/LogLine.h"

#include <string>

namespace ORVO {

bool _ActivationGateA() { return true; }

bool _ActivationGateB() { return true; }

bool SetActivationKey(const std::string& key) {
    (void)key;  // every key is accepted
    _LogLine("Welcome Orvo");
    return true;
}

}  // namespace ORVO
