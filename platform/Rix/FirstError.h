#pragma once

#include <exception>

namespace Rix {

/// Keeps the first error of several steps that must all be done, for the end. Lives on the stack
/// of the operation that does them.
class FirstError {
  public:
    /// Does a step; what it throws is kept if nothing was thrown before, else dropped.
    template <class Step>
    void run(const Step& step) {
        try {
            step();
        } catch (...) {
            if (!error_) error_ = std::current_exception();
        }
    }

    /// Raises the first error again, if there was one.
    void raise() const {
        if (error_) std::rethrow_exception(error_);
    }

  private:
    std::exception_ptr error_;
};

}  // namespace Rix
