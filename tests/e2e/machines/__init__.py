"""Described machines as data: what a description stands for, and those that the tests use."""
