/// A smooth field of shifts from scattered colour cells.
#pragma once

#include <functional>
#include <span>

#include "lut/lattice.h"

namespace cali::clut {

using lut::Axis;
using lut::Domain;
using lut::Field;
using lut::Lattice;
using lut::lattice_of;
using lut::Neighbours;
using lut::neighbours_of;
using lut::sample_field;
using lut::Vector3;

/// Where a colour was measured and how far it has to move.
struct ShiftCell {
    Vector3 position;
    Vector3 shift;
    double weight;
};

struct FieldSettings {
    double radius = 0.2;      ///< reach of a cell, in units of the axes
    bool postprocess = true;  ///< median and low-pass
};

/// How much of a shift a node keeps: 0 on the neutral axis and around it, 1 away from it.
using NeutralMask = std::function<double(const Vector3& position)>;

/// Called after each phase with its number, 0 to 5.
using PhaseObserver = std::function<void(int phase, const Field& field)>;

/// Phases: 0 cells gathered onto their eight nodes; 1 gaps between filled nodes along the first axis; 2 nodes within
/// the radius of filled ones, falling off to nothing; 3 borders; 4 median; 5 low-pass. What the nodes then leave of a
/// cell's shift goes through the phases again, several times; the observer sees each phase of the first round. Nodes
/// far from any cell have no shift. Throws std::bad_alloc.
[[nodiscard]] Field build_field(const Lattice& lattice, std::span<const ShiftCell> cells, const FieldSettings& settings,
                                const NeutralMask& mask, const PhaseObserver& observer);

}  // namespace cali::clut
