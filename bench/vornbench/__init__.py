"""The parts of bench/run: figures on loopback, figures in the studio, figures of the application, the report."""
