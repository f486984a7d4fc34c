#include "processing/shutterRunSequence.h"

void ShutterRunSequence::request(std::uint16_t frames) {
  current = Phase::requested;
  wanted = frames;
  taken = 0;
}

bool ShutterRunSequence::cancel() {
  if (current != Phase::requested && current != Phase::summing) return false;
  current = Phase::cancelled;
  ++ended;
  return true;
}

ShutterRunSequence::Step ShutterRunSequence::nextFrame() {
  if (current == Phase::requested) {
    current = Phase::summing;
    return Step::begin;
  }
  if (current == Phase::cancelled) {
    current = Phase::idle;
    return Step::giveBack;
  }
  return Step::none;
}

bool ShutterRunSequence::frameSummed() {
  if (current != Phase::summing) return false;
  if (++taken < wanted) return false;
  current = Phase::finishing;
  return true;
}

bool ShutterRunSequence::finish() {
  if (current != Phase::finishing) return false;
  current = Phase::idle;
  ++ended;
  return true;
}
