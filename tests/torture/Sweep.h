#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

#include "tests/torture/Strokes.h"
#include "tests/torture/TorturedSession.h"

namespace xel::torture {

/// Runs a session for each thing that can fail, and fails the test for each one that loses something.
///
/// Every so-manieth only: XELPUSH_TORTURE_STEP, 1 for all of them, from XELPUSH_TORTURE_FIRST on. With
/// XELPUSH_TORTURE_PROGRESS it tells how far it is.
void sweep(std::string_view name, const std::function<Strokes&(TorturedSession&)>& strokes, Span span,
           std::size_t usualRuns);

}  // namespace xel::torture
