"""Compares a Wine prefix with a simulated machine, and with itself at another moment."""
