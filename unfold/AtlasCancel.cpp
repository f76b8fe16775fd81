// The stop flag of the atlas call running on this thread.
#include "unfold/AtlasContext.h"

namespace ORVO {
namespace {

thread_local const std::atomic<bool>* tCancel = nullptr;

}  // namespace

AtlasCancelScope::AtlasCancelScope(const std::atomic<bool>* cancel) : mPrevious(tCancel) { tCancel = cancel; }

AtlasCancelScope::~AtlasCancelScope() { tCancel = mPrevious; }

bool _AtlasCancelRequested() { return tCancel != nullptr && tCancel->load(std::memory_order_relaxed); }

}  // namespace ORVO
