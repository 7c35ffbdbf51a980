/*
 * control.h -- the switches by URL:  /control/advance?ms=5000
 */
#pragma once

#include "tools/simulator/http.h"
#include "tools/simulator/simulator.h"

namespace simulator {

HttpAnswer AnswerControl(Simulator &simulator, const HttpExchange &exchange);

} // namespace simulator
