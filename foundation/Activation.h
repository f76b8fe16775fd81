#pragma once
// The activation gates passed by the UV-atlas entry points before they work.
// This build is not licence-gated, so both always pass; they stay separate
// calls so that the entry points keep one place where a refusal (status
// STATUS_NOT_ACTIVATED) would be decided.

namespace ORVO {

bool _ActivationGateA();
bool _ActivationGateB();

}  // namespace ORVO
