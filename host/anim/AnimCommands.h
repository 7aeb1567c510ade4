#pragma once
// Frame ranges as the animation commands and snapshot take them (sampled by
// sampleFrames in commands/BuiltinSupport.h).

#include <string>
#include <vector>

namespace hostdetail {
namespace builtin {

// "START:END" or a single frame; false with an error naming the word for
// anything else, a non-finite or far-off frame, or a range that runs
// backwards.
bool parseFrameRange(const std::string& word, double& start, double& end, std::string& error);
// The frames of the -t START:END and -by STEP flags given (the playback
// range and a step of 1 when left out).
bool framesFromFlags(bool hasRange, const std::string& range, bool hasStep,
                     const std::string& stepWord, std::vector<double>& frames, std::string& error);

}  // namespace builtin
}  // namespace hostdetail
