#ifndef VELORIX_SETUPGRID_MESH_CHECK_H
#define VELORIX_SETUPGRID_MESH_CHECK_H
#include "velorix.h"

namespace velorix {

/**
 * Complains, in one line with the mesh's corners, of a mesh that is hardly meant so: extents that
 * run backwards, that look like kilometres or like absolute coordinates, and nodes far from every
 * station. REQUIRES: a laid-out regular mesh.
 */
void complain_of_mesh(const Velorix& grid);

}  // namespace velorix

#endif
