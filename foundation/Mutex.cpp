#include <QarnUVAtlas/Threads.h>

#include <new>

namespace ORVO {

Mutex::Mutex() : mpHandle(new (std::nothrow) std::mutex()) {}

Mutex::~Mutex() { delete mpHandle; }

std::mutex* Mutex::GetHandle() { return mpHandle; }

void Mutex::Lock() {
    if (mpHandle != nullptr) mpHandle->lock();
}

void Mutex::Unlock() {
    if (mpHandle != nullptr) mpHandle->unlock();
}

ScopedLock::ScopedLock(Mutex& mutex) : mMutex(mutex) { mMutex.Lock(); }

ScopedLock::~ScopedLock() { mMutex.Unlock(); }

}  // namespace ORVO
