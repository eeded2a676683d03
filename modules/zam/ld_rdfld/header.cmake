# Scanner, grammar, model.
