#ifndef VELORIX_TTCALC_MODEL_FILES_H
#define VELORIX_TTCALC_MODEL_FILES_H
#include <string>

#include "platform/ttcalc/earth_model.h"

namespace velorix::tt {

/**
 * Finds and reads an earth model: a built-in name, else a file as given, else in the folders of the
 * environment variable VELORIX_MODELPATH (colon between them), else in the installed share folder.
 * A name without suffix stands for name.tvel or name.nd too.
 * @param[out] error what is wrong, with file and line where there is one
 */
bool load_model(const std::string& name, EarthModel& model, std::string& error);

}  // namespace velorix::tt
#endif
