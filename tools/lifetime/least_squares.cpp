// The library that solves the least squares is included by this file alone.
#include "tools/lifetime/least_squares.h"

#include <Eigen/Dense>
#include <cmath>
#include <stdexcept>
#include <unsupported/Eigen/LevenbergMarquardt>
#include <unsupported/Eigen/NumericalDiff>

namespace cellwarden::lifetime {
namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;

// A column of the Jacobian whose part that the columns before it do not explain is smaller than
// this share is not determined.
constexpr double SMALLEST_OWN_SHARE = 1e-3;
constexpr double DIFFERENCE = 1e-4;  // of the parameter, for the Jacobian

struct Problem {
    const std::vector<double>& measured;
    const Model& model;
    std::vector<double> all;        // the parameters; the free ones are replaced
    std::vector<size_t> free = {};  // indices into `all`

    VectorXd residuals(const VectorXd& values) const {
        std::vector<double> parameters = all;
        for (size_t i = 0; i < free.size(); i++) {
            parameters[free[i]] = values[static_cast<Eigen::Index>(i)];
        }
        VectorXd result(static_cast<Eigen::Index>(measured.size()));
        for (size_t row = 0; row < measured.size(); row++) {
            result[static_cast<Eigen::Index>(row)] = measured[row] - model(parameters, row);
        }
        return result;
    }
    VectorXd values() const {
        VectorXd result(static_cast<Eigen::Index>(free.size()));
        for (size_t i = 0; i < free.size(); i++) {
            result[static_cast<Eigen::Index>(i)] = all[free[i]];
        }
        return result;
    }
};

// The interface that the library's differentiation wants.
struct Functor : Eigen::DenseFunctor<double> {
    explicit Functor(const Problem& wanted)
        : DenseFunctor(static_cast<int>(wanted.free.size()),
                       static_cast<int>(wanted.measured.size())),
          problem(&wanted) {}
    int operator()(const VectorXd& values, VectorXd& result) const {
        result = problem->residuals(values);
        return 0;
    }
    const Problem* problem;
};

// Returns the Jacobian of the model by central differences.
MatrixXd jacobian_at(const Problem& problem, const VectorXd& values) {
    MatrixXd jacobian(static_cast<Eigen::Index>(problem.measured.size()), values.size());
    for (Eigen::Index i = 0; i < values.size(); i++) {
        const double step = DIFFERENCE * std::max(1e-3, std::abs(values[i]));
        VectorXd above = values;
        VectorXd below = values;
        above[i] += step;
        below[i] -= step;
        jacobian.col(i) = (problem.residuals(below) - problem.residuals(above)) / (2 * step);
    }
    return jacobian;
}

// Returns which columns are not combinations of the columns before them.
std::vector<bool> determined_columns(MatrixXd columns) {
    std::vector<bool> determined;
    for (Eigen::Index i = 0; i < columns.cols(); i++) {
        const double norm = columns.col(i).norm();
        for (Eigen::Index k = 0; k < i; k++) {
            columns.col(i) -= columns.col(k) * columns.col(k).dot(columns.col(i));
        }
        const double own = columns.col(i).norm();
        const bool holds = norm > 0 && own > SMALLEST_OWN_SHARE * norm;
        columns.col(i) *= holds ? 1 / own : 0;
        determined.push_back(holds);
    }
    return determined;
}

}  // namespace

Fit fit_least_squares(std::vector<Parameter> start, const std::vector<double>& measured,
                      const Model& model) {
    Problem problem{.measured = measured, .model = model, .all = {}};
    std::vector<size_t> wanted;
    for (size_t i = 0; i < start.size(); i++) {
        problem.all.push_back(start[i].value);
        if (!start[i].held) {
            wanted.push_back(i);
        }
    }
    problem.free = wanted;
    const std::vector<bool> determined = determined_columns(jacobian_at(problem, problem.values()));
    problem.free.clear();
    for (size_t i = 0; i < wanted.size(); i++) {
        start[wanted[i]].held = !determined[i];
        if (determined[i]) {
            problem.free.push_back(wanted[i]);
        }
    }
    if (measured.size() <= problem.free.size()) {
        throw std::runtime_error(std::to_string(measured.size()) + " measurements, but " +
                                 std::to_string(problem.free.size()) + " parameters to determine");
    }
    VectorXd values = problem.values();
    Eigen::NumericalDiff<Functor, Eigen::Central> functor{Functor(problem)};
    Eigen::LevenbergMarquardt<Eigen::NumericalDiff<Functor, Eigen::Central>> solver(functor);
    solver.setMaxfev(20'000);
    (void)solver.minimize(values);

    const VectorXd residuals = problem.residuals(values);
    const auto freedom = static_cast<double>(measured.size() - problem.free.size());
    const double variance = residuals.squaredNorm() / freedom;
    // Columns of length 1 keep parameters of different size apart from the inversion.
    MatrixXd jacobian = jacobian_at(problem, values);
    const VectorXd norms = jacobian.colwise().norm().cwiseMax(1e-300);
    jacobian = jacobian * norms.cwiseInverse().asDiagonal();
    const MatrixXd inverse =
        (jacobian.transpose() * jacobian).completeOrthogonalDecomposition().pseudoInverse();

    Fit fit{.estimates = std::move(start),
            .covariance = {},
            .residuals = {residuals.begin(), residuals.end()},
            .deviation = std::sqrt(variance)};
    fit.covariance.assign(fit.estimates.size(), std::vector<double>(fit.estimates.size(), 0));
    for (size_t i = 0; i < problem.free.size(); i++) {
        const auto row = static_cast<Eigen::Index>(i);
        for (size_t k = 0; k < problem.free.size(); k++) {
            const auto column = static_cast<Eigen::Index>(k);
            fit.covariance[problem.free[i]][problem.free[k]] =
                variance * inverse(row, column) / (norms[row] * norms[column]);
        }
        Parameter& estimate = fit.estimates[problem.free[i]];
        estimate.value = values[row];
        estimate.error = std::sqrt(fit.covariance[problem.free[i]][problem.free[i]]);
    }
    return fit;
}

double error_of(const Fit& fit, const std::vector<double>& gradient) {
    double variance = 0;
    for (size_t i = 0; i < gradient.size(); i++) {
        for (size_t k = 0; k < gradient.size(); k++) {
            variance += gradient[i] * fit.covariance[i][k] * gradient[k];
        }
    }
    return std::sqrt(variance);
}

}  // namespace cellwarden::lifetime
