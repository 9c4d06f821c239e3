"""What bench/run is made of: figures on loopback, figures in the studio, figures of the application, the report."""
