"""The simulated studio: a small real network with units, for tests, benchmarks and demonstrations."""

from .client import Process, Studio, StudioError, StudioUnavailable

__all__ = ["Process", "Studio", "StudioError", "StudioUnavailable"]
