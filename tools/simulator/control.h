/*
 * control.h -- the switches as URLs, for whoever runs the program:  /control/advance?ms=5000
 */
#pragma once

#include "tools/simulator/http.h"
#include "tools/simulator/simulator.h"

namespace simulator {

HttpAnswer AnswerControl(Simulator &simulator, const HttpExchange &exchange);

} // namespace simulator
