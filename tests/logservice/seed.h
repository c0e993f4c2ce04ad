#pragma once

#include <QtCore/QtGlobal>

#include <random>

/// A generator whose seed is KX_SEED from the environment or a random one, and is printed.
inline std::mt19937 seededRandom()
{
    bool isGiven = false;
    int seed = qEnvironmentVariableIntValue("KX_SEED", &isGiven);
    if (!isGiven)
        seed = int(std::random_device()() >> 1);
    qInfo("KX_SEED=%d repeats this", seed);
    return std::mt19937(unsigned(seed));
}
