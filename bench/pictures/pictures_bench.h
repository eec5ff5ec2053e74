#pragma once

namespace Vantra::Bench {

/// Registers a row for each way of decoding and encoding a picture.
void RegisterPictureBenchmarks();

}  // namespace Vantra::Bench
