#include "quolsdk/LSink.h"

LSink::~LSink() = default;

void LSink::flush() {}

void LSink::setPaused(bool) {}
