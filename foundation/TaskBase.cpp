#include <QarnUVAtlas/Threads.h>

namespace ORVO {

TaskBase::TaskBase(TaskType type) : mType(type) {}

int TaskBase::Run() { return 0; }

void TaskBase::OnComplete() { delete this; }

TaskBase::~TaskBase() = default;

TaskType TaskBase::GetType() const { return mType; }

}  // namespace ORVO
