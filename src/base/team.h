// The size of the fork-join teams, and when a team pays.
//
// One size everywhere lets the OpenMP runtime keep its threads between regions;
// with changing sizes it would end and start threads several times a picture.
#ifndef QOLM_BASE_TEAM_H_
#define QOLM_BASE_TEAM_H_

#include <cstddef>

namespace qolm {

inline constexpr int kTeamSize = 4;

// Below this many samples a team takes longer to start than one thread needs
// for the work.
inline constexpr size_t kSamplesWorthATeam = 32768;

}  // namespace qolm

#endif  // QOLM_BASE_TEAM_H_
