// The operand stack of an evaluation.
#ifndef COMMONUTILITIES_EXPR_RPN_CELLS_HPP
#define COMMONUTILITIES_EXPR_RPN_CELLS_HPP

#include <stddef.h>
#include <string.h>

#include "expr/rpn_operators.hpp"
#include "internal/grow.hpp"
#include "internal/owned.hpp"

namespace cu {

/// A stack of double-precision cells. The first ones lie in the evaluation's own frame, so that
/// ordinary expressions allocate nothing.
class CellStack {
 public:
  CellStack() = default;
  CellStack(const CellStack &) = delete;
  CellStack &operator=(const CellStack &) = delete;

  bool empty() const { return count_ == 0; }

  /// Always of a stack that is not empty.
  double Pop() { return cells_[--count_]; }

  /// False when there is no memory.
  bool Push(double value) {
    if (count_ == room_ && !Grow()) return false;
    cells_[count_++] = value;
    return true;
  }

  /// Replaces the operands of an operation, which is done in single precision, by its result. False
  /// when an operand is missing or the operation fails; a "!" without an operand is left out.
  bool Apply(uint32_t id) {
    if (id == RPN_NOT) {
      if (empty()) return true;
      double &cell = cells_[count_ - 1];
      cell = Unsigned(Single(cell)) == 0 ? 1 : 0;
      return true;
    }
    if (count_ < 2) return false;
    double &a = cells_[count_ - 2];
    float result;
    if (!Operate(id, Single(a), Single(cells_[count_ - 1]), result)) return false;
    a = result;
    --count_;
    return true;
  }

 private:
  static constexpr size_t kLocalCells = 32;

  [[gnu::cold, gnu::noinline]] bool Grow() {
    double *const grown = ReallocArray(heap_.get(), room_ * 2);
    if (grown == nullptr) return false;
    if (!heap_) memcpy(grown, local_, sizeof local_);
    static_cast<void>(heap_.release());
    heap_.reset(grown);
    cells_ = grown;
    room_ *= 2;
    return true;
  }

  double local_[kLocalCells];
  double *cells_ = local_;
  size_t count_ = 0;
  size_t room_ = kLocalCells;
  Owned<double> heap_;
};

}  // namespace cu

#endif
