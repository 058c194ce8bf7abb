module test/probe

go 1.19

require example/capture v0.0.0

replace example/capture => ../../../examples/go
