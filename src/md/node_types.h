// Registration of the node types (one function per source file) and the few
// facts the engine reads from particular nodes.
#pragma once

namespace tevo {

class DerivComputation;

void register_restraint_nodes();         // restraints.cpp
void register_coordinate_nodes();        // backbone_point.cpp, for the four coordinate nodes
void register_hbond_node();              // hbond.cpp
void register_rama_nodes();              // rama_pot.cpp
void register_membrane_node();           // membrane.cpp
void register_radial_node();             // radial.cpp
void register_frame_pair_nodes();        // frame_pairs.cpp
void register_basin_correlation_node();  // basin_correlation.cpp

// The hydrogen bond count of an HBondEnergy node (system 0, last evaluation).
int hbond_count(DerivComputation& node);

}  // namespace tevo
