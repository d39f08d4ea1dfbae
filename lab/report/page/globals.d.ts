// What the page has beside its modules: uPlot, whose script stands before them.
declare const uPlot: any;
