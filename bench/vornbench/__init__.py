"""What bench/run is made of: one module for figures on loopback, one for figures in the studio, the report."""
