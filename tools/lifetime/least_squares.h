// Nonlinear least squares with standard errors, which leaves out what the data do not determine.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace cellwarden::lifetime {

struct Parameter {
    std::string name;
    double value = 0;
    double error = 0;   // standard error
    bool held = false;  // the data do not determine it: it keeps its start value
};

struct Fit {
    std::vector<Parameter> estimates;
    std::vector<std::vector<double>> covariance;  // 0 for held parameters
    std::vector<double> residuals;                // measured minus model
    double deviation = 0;                         // standard deviation of the residuals
};

// Minimises the sum of the squares of measured - model(parameters) from the values of `start` on. A
// parameter is held if `start` says so, or if its effect on the model is, at the start, a
// combination of the effects of the parameters before it. Throws std::runtime_error if there are
// not more measurements than free parameters.
using Model = std::function<double(const std::vector<double>& parameters, size_t row)>;
Fit fit_least_squares(std::vector<Parameter> start, const std::vector<double>& measured,
                      const Model& model);

// Returns the standard error of a function of the parameters with this gradient.
double error_of(const Fit& fit, const std::vector<double>& gradient);

}  // namespace cellwarden::lifetime
