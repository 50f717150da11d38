#pragma once

#include "examples/truss/trs_Member.h"

class trs_Truss;

// Makes a bar with an area in m2, as a version of the program has it.
using trs_MakeBar = std::shared_ptr<trs_Member> (*)(trs_Member::Ends ends,
                                                    std::shared_ptr<trs_Material> material, double area);
template <class Bar>
std::shared_ptr<trs_Member> trs_MakeBarOf(trs_Member::Ends ends, std::shared_ptr<trs_Material> material,
                                          double area) {
  return std::make_shared<Bar>(std::move(ends), std::move(material), area);
}

// A bridge: bars below and above, posts, and two crossed cables in each bay between posts. Its right end rests on a
// roller, and is held by a spring. Load cases are its own weight, and a train on its left half.
//
//        U1----U2----U3
//       / |\  / |\  / | \             of 4 bays
//      /  | \/  | \/  |  \            .
//     /   | /\  | /\  |   \           .
//    L0---L1----L2----L3---L4 ~~~ A
//
// REQUIRES: at least two bays.
trs_Truss trs_MakeBridge(int bayCount, trs_MakeBar makeBar);
