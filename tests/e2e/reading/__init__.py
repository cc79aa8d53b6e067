"""Reads what a Wine prefix is like at a moment, and what its stand-ins have noted. Changes nothing."""
