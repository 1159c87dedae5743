// IServerClock: the process-wide offset between the local clock and the gateway's, as the
// time calibration filter writes it and the pipeline reads it on every pass. The core
// implements it over its atomic fields and registers it with PipelineReentry; the object lives
// for the process. Any thread may call; no lock is held.
#pragma once

#include <cstdint>

class IServerClock {
public:
    // Stores offset (seconds, server minus local), then marks it valid, each as an atomic
    // exchange in this order: a reader between the two writes uses the plain local time once.
    virtual void Calibrate(int64_t offset) = 0;
    // The stored offset in seconds, valid once IsCalibrated() is true.
    virtual int64_t Offset() const = 0;
    virtual bool IsCalibrated() const = 0;

protected:
    // Never deleted through this interface.
    ~IServerClock() = default;
};
